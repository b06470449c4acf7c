using System;
using System.Collections.Generic;
using System.Diagnostics;
using System.IO;
using System.Net.Sockets;
using System.Text;
using System.Threading;

namespace Orn
{
    /// <summary>The app host cannot be reached.</summary>
    internal sealed class LinkException : Exception
    {
        public LinkException(string message) : base(message)
        {
        }
    }

    /// <summary>
    /// The connection to the connector library. A thread of its own reads, answers the pings and keeps the other lines
    /// for the app thread, so that an app that is busy does not count as gone; how long it has been busy is the answer.
    /// </summary>
    internal sealed class Link
    {
        private const int RetryMilliseconds = 100;
        private const int GreetingLimitMilliseconds = 1000;
        private const int EndLimitMilliseconds = 2000;
        private const int SendBuffer = 65536; // small: an answer to a ping goes behind what is in it

        private readonly TcpClient client;
        private readonly StreamReader reader;
        private readonly StreamWriter writer;
        private readonly Queue<string> lines = new Queue<string>();
        private readonly Stopwatch busy = Stopwatch.StartNew(); // stands while the app thread waits for a line
        private bool ended;

        private Link(TcpClient client, StreamReader reader, StreamWriter writer)
        {
            this.client = client;
            this.reader = reader;
            this.writer = writer;
        }

        /// <summary>Waits for the app host, which may be started later.</summary>
        public static Link Connect(string host, string portFile, int limitMilliseconds)
        {
            for (var waited = Stopwatch.StartNew(); waited.ElapsedMilliseconds < limitMilliseconds;)
            {
                Link link = TryConnect(host, portFile);
                if (link != null)
                {
                    return link;
                }
                Thread.Sleep(RetryMilliseconds);
            }
            throw new LinkException("there is no app host to be found by " + portFile);
        }

        public void Send(string line)
        {
            lock (writer)
            {
                writer.Write(line + "\n");
                writer.Flush();
            }
        }

        /// <summary>The next line; null when the connection has ended.</summary>
        public string Receive()
        {
            lock (lines)
            {
                busy.Reset();
                while (lines.Count == 0 && !ended)
                {
                    Monitor.Wait(lines);
                }
                busy.Start();
                return lines.Count == 0 ? null : lines.Dequeue();
            }
        }

        public void Close()
        {
            client.Close();
        }

        private static Link TryConnect(string host, string portFile)
        {
            var client = new TcpClient();
            try
            {
                int port = int.Parse(File.ReadAllText(portFile).Trim());
                client.Connect(host, port);
                client.NoDelay = true;
                client.SendBufferSize = SendBuffer;
                if (IsGreeted(client))
                {
                    client.ReceiveTimeout = 0;
                    var encoding = new UTF8Encoding(false);
                    var link = new Link(client, new StreamReader(client.GetStream(), encoding),
                                        new StreamWriter(client.GetStream(), encoding));
                    link.Send(Wire.Greeting);
                    new Thread(link.Read) { IsBackground = true }.Start();
                    return link;
                }
            }
            catch (Exception error) when (error is IOException || error is SocketException || error is FormatException ||
                                          error is OverflowException || error is ArgumentOutOfRangeException ||
                                          error is UnauthorizedAccessException)
            {
                // It is tried again.
            }
            client.Close();
            return null;
        }

        /// <summary>
        /// Whether the app host is there: the file may be an old one, and the port by now somebody's who says something
        /// else, little by little or without end.
        /// </summary>
        private static bool IsGreeted(TcpClient client)
        {
            var time = Stopwatch.StartNew();
            foreach (char expected in Wire.Greeting + "\n")
            {
                int left = GreetingLimitMilliseconds - (int)time.ElapsedMilliseconds;
                if (left <= 0)
                {
                    return false;
                }
                client.ReceiveTimeout = left;
                if (client.GetStream().ReadByte() != expected)
                {
                    return false;
                }
            }
            return true;
        }

        private long GetBusyMilliseconds()
        {
            lock (lines)
            {
                return busy.ElapsedMilliseconds;
            }
        }

        private void Read()
        {
            try
            {
                for (string line = reader.ReadLine(); line != null; line = reader.ReadLine())
                {
                    if (line == "ping")
                    {
                        Send("pong " + GetBusyMilliseconds() + (Debugger.IsAttached ? " debugged" : ""));
                        continue;
                    }
                    lock (lines)
                    {
                        lines.Enqueue(line);
                        Monitor.Pulse(lines);
                    }
                }
            }
            catch (Exception error) when (error is IOException || error is ObjectDisposedException)
            {
                // The connection has ended.
            }
            lock (lines)
            {
                ended = true;
                Monitor.Pulse(lines);
            }
            // The app thread ends the process, unless it is in a call that does not return.
            Thread.Sleep(EndLimitMilliseconds);
            Environment.Exit(1);
        }
    }
}
