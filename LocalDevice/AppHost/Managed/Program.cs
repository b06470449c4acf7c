using System;
using System.IO;
using System.Linq;
using System.Reflection;
using System.Runtime.ExceptionServices;

namespace Orn
{
    /// <summary>Runs a managed app and connects it with the connector library in the app host.</summary>
    internal static class Program
    {
        private const int Success = 0;
        private const int Failure = 1;
        private const int BadCall = 2;
        private const int AppHostLimitMilliseconds = 60000;
        private const string PortFileVariable = "ORN_CONNECTOR_PORT_FILE";

        public static int Main(string[] arguments)
        {
            string portFile = Environment.GetEnvironmentVariable(PortFileVariable);
            if (arguments.Length != 2 || string.IsNullOrEmpty(portFile))
            {
                Console.Error.WriteLine("usage: OrnAppConnectorHost.exe APP.dll HOST (with " + PortFileVariable +
                                        " naming the file in which the app host leaves its port)");
                return BadCall;
            }
            int code = Failure;
            try
            {
                code = Run(arguments[0], arguments[1], portFile);
            }
            catch (Exception error)
            {
                Console.Error.WriteLine("OrnAppConnectorHost: " + error.Message);
            }
            Environment.Exit(code); // whatever threads the app has
            return code;
        }

        private static int Run(string assembly, string host, string portFile)
        {
            Link link = Link.Connect(host, portFile, AppHostLimitMilliseconds);
            AppDomain.CurrentDomain.UnhandledException += (sender, arguments) =>
                Fail(link, arguments.ExceptionObject);
            try
            {
                return Live(link, CreateApp(assembly));
            }
            catch (Exception error)
            {
                Fail(link, error);
                throw;
            }
            finally
            {
                link.Close();
            }
        }

        private static int Live(Link link, IApp app)
        {
            var device = new Device(link);
            for (string line = link.Receive(); line != null; line = link.Receive())
            {
                string command = Wire.TakeWord(ref line);
                if (command == "start")
                {
                    app.Start(device);
                    link.Send("running");
                }
                else if (command == "stop")
                {
                    app.Stop();
                    return Success;
                }
                else
                {
                    device.Handle(command, line);
                }
            }
            throw new LinkException("the connection to the app host is lost");
        }

        private static IApp CreateApp(string file)
        {
            Type[] types = Load(file).GetExportedTypes();
            Type[] apps = types.Where(type => typeof(IApp).IsAssignableFrom(type) && !type.IsAbstract).ToArray();
            if (apps.Length != 1)
            {
                throw new InvalidOperationException(file + " has " + apps.Length +
                                                    " public classes that implement Orn.IApp, expected one");
            }
            try
            {
                return (IApp)Activator.CreateInstance(apps[0]);
            }
            catch (TargetInvocationException error)
            {
                ExceptionDispatchInfo.Capture(error.InnerException).Throw(); // the app's own, with its call stack
                throw;
            }
        }

        private static Assembly Load(string file)
        {
            // What the runtime says of a file that is missing does not name it.
            if (!File.Exists(file))
            {
                throw new InvalidOperationException("there is no " + file);
            }
            try
            {
                return Assembly.LoadFrom(Path.GetFullPath(file));
            }
            catch (BadImageFormatException)
            {
                throw new InvalidOperationException(file + " is no assembly");
            }
        }

        private static void Fail(Link link, object error)
        {
            try
            {
                link.Send("fail " + Wire.Escape(Wire.Cut(error.ToString())));
            }
            catch (IOException)
            {
                // The connection is what has failed.
            }
            catch (ObjectDisposedException)
            {
                // As above.
            }
        }
    }
}
