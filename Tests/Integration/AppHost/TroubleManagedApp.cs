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
            case "hang-for-ever":
                for (;;)
                {
                }
            case "thread":
                new Thread(() => Thread.Sleep(Timeout.Infinite)).Start();
                device.SetValue(2, "started");
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
            case "values":
                SetValues(true, "text", (sbyte)-1, (byte)2, (short)-3, (ushort)4, -5, 6u, -7L, 8UL, 0.5f, -1.5, 2.5m);
                break;
            case "odd-values":
                SetValues(null, 'c', DayOfWeek.Monday, new byte[] { 1 }, ulong.MaxValue);
                break;
            case "out-of-range":
                CallOutOfRange();
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

    /// <summary>What is refused is told by its exception.</summary>
    private void SetValues(params object[] values)
    {
        foreach (object value in values)
        {
            try
            {
                device.SetValue(2, value);
            }
            catch (Exception error)
            {
                device.SetValue(2, error.GetType() + ": " + error.Message);
            }
        }
    }

    /// <summary>Tells the arguments that were refused, in the order of the calls.</summary>
    private void CallOutOfRange()
    {
        string refused = "";
        foreach (bool above in new[] { false, true })
        {
            int co = above ? 521 : 0;
            int slot = above ? 51 : 0;
            foreach (Action call in new Action[] {
                         () => device.GetIpParameter(slot), () => device.GetNumberParameter(slot),
                         () => device.GetTextParameter(slot), () => device.GetValue(co),
                         () => device.SetValue(co, true), () => device.OnValue(co, value => {}) })
            {
                try
                {
                    call();
                    refused += "none ";
                }
                catch (ArgumentOutOfRangeException error)
                {
                    refused += error.ParamName + " ";
                }
            }
        }
        device.SetValue(2, refused);
    }

    private void Flood()
    {
        for (;;)
        {
            device.SetValue(2, true);
        }
    }
}
