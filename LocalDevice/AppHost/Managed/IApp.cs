using System;

namespace Orn
{
    /// <summary>
    /// A managed app: one public class of the app's assembly, with a constructor without parameters, implements this.
    /// All calls, the handlers' included, come on one thread, the app thread, one at a time. An exception that leaves
    /// one of them ends the app. One that does not return stops the app's heartbeat, and after a minute without one the
    /// device restarts.
    /// </summary>
    public interface IApp
    {
        /// <summary>Called once: the app reads its parameters and says which values it wants to hear of.</summary>
        void Start(IDevice device);

        /// <summary>Called once, at the end. The app may still set values.</summary>
        void Stop();
    }

    public enum LogLevel
    {
        Debug,
        Info,
        Warn,
        Error
    }

    /// <summary>
    /// The device as an app sees it. Communication objects (COs) count from 1 to 520, parameters of each kind from 1 to
    /// 50, as in the configuration tool; a number out of range throws ArgumentOutOfRangeException. SetValue and Log may
    /// be called on any thread, the others on the app thread.
    /// A value is a bool, a long, a double or a string, as the data-point type of the CO has it.
    /// </summary>
    public interface IDevice
    {
        /// <summary>"0.0.0.0" where nobody set it.</summary>
        string GetIpParameter(int slot);

        /// <summary>0 where nobody set it.</summary>
        uint GetNumberParameter(int slot);

        /// <summary>"" where nobody set it.</summary>
        string GetTextParameter(int slot);

        /// <summary>The last value that came or that the app set; null where there is none.</summary>
        object GetValue(int co);

        /// <summary>
        /// Sets the value of a CO, and with that sends it to the bus where the CO transmits. Other numbers than long and
        /// double count as one of the two, decimal as a double; a ulong that no long holds throws OverflowException. Any
        /// other type throws ArgumentException, and so does a string of more than 16384 characters. Waits where values
        /// come faster than the device can take them.
        /// </summary>
        void SetValue(int co, object value);

        /// <summary>Calls the handler for every value that somebody else gives the CO, in place of an earlier one.</summary>
        void OnValue(int co, Action<object> handler);

        /// <summary>Calls the handler when communication with the bus begins or ceases.</summary>
        void OnCommunication(Action<bool> handler);

        /// <summary>
        /// Writes a line to the device's log; of a long text the first 16384 characters. Further lines of the text are
        /// indented, and its control characters escaped.
        /// </summary>
        void Log(LogLevel level, string text);
    }
}
