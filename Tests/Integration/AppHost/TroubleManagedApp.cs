using System;
using System.Threading;
using Orn;

/// <summary>
/// Makes the trouble that its text parameter 1 names: those "at-start" at its start, those "at-stop" at its end, the
/// others when CO 1 gets a value. Tells on CO 2 what happens to it.
/// </summary>
public sealed class TroubleManagedApp : IApp
{
    private IDevice device;
    private string trouble;

    public void Start(IDevice owner)
    {
        device = owner;
        trouble = device.GetTextParameter(1);
        if (trouble == "throw-at-start")
        {
            throw new InvalidOperationException("not today");
        }
        if (trouble == "exit-at-start")
        {
            Environment.Exit(3);
        }
        device.OnCommunication(on => device.SetValue(2, on ? "on" : "off"));
        device.OnValue(1, OnValue);
    }

    public void Stop()
    {
        device.SetValue(2, "stopped");
        if (trouble == "hang-at-stop")
        {
            Thread.Sleep(Timeout.Infinite);
        }
        if (trouble == "throw-at-stop")
        {
            throw new InvalidOperationException("not ready");
        }
    }

    private void OnValue(object value)
    {
        switch (trouble)
        {
            case "throw":
                throw new InvalidOperationException("two\nlines");
            case "throw-elsewhere":
                new Thread(() => { throw new InvalidOperationException("elsewhere"); }).Start();
                break;
            case "hang":
                Thread.Sleep(3000);
                device.SetValue(2, "awake");
                break;
            case "exit":
                Environment.Exit(3);
                break;
            case "flood":
                new Thread(Flood) { IsBackground = true }.Start();
                break;
            case "long-line":
                device.Log(LogLevel.Info, new string('\u20ac', 5000000));
                device.SetValue(2, "logged");
                break;
            case "long-value":
                device.SetValue(2, new string('x', 5000000));
                break;
            case "overflow":
                device.SetValue(2, Recurse(0));
                break;
            case "bad-value":
                device.SetValue(2, new object());
                break;
            case "echo":
                device.SetValue(2, value);
                break;
        }
    }

    private static long Recurse(long depth)
    {
        return depth < 0 ? 0 : 1 + Recurse(depth + 1);
    }

    private void Flood()
    {
        for (;;)
        {
            device.SetValue(2, true);
        }
    }
}
