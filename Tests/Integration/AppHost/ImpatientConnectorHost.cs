using System;
using Orn;

/// <summary>Looks for an app host as the connector host does, but not for long.</summary>
internal static class ImpatientConnectorHost
{
    public static int Main(string[] arguments)
    {
        try
        {
            Link.Connect("127.0.0.1", arguments[0], 50);
            return 0;
        }
        catch (LinkException error)
        {
            Console.Error.WriteLine(error.Message);
            return 1;
        }
    }
}
