using System;
using System.Collections.Generic;
using System.Globalization;

namespace Orn
{
    /// <summary>The device as far as the connector library has told of it.</summary>
    internal sealed class Device : IDevice
    {
        private const int LastCo = 520;
        private const int LastSlot = 50;

        private readonly Link link;
        private readonly Dictionary<string, string> parameters = new Dictionary<string, string>();
        private readonly Dictionary<int, object> values = new Dictionary<int, object>();
        private readonly Dictionary<int, Action<object>> valueHandlers = new Dictionary<int, Action<object>>();
        private Action<bool> communicationHandler;

        public Device(Link link)
        {
            this.link = link;
        }

        /// <summary>Takes in what a line of the library tells, and lets the app hear of it.</summary>
        public void Handle(string command, string rest)
        {
            switch (command)
            {
                case "parameter":
                    string kind = Wire.TakeWord(ref rest);
                    string slot = Wire.TakeWord(ref rest);
                    parameters[kind + " " + slot] = Wire.Unescape(rest);
                    break;
                case "value":
                    OnValueLine(int.Parse(Wire.TakeWord(ref rest), CultureInfo.InvariantCulture), Wire.ParseValue(rest));
                    break;
                case "communication":
                    if (communicationHandler != null)
                    {
                        communicationHandler(rest == "on");
                    }
                    break;
            }
        }

        public string GetIpParameter(int slot)
        {
            return GetParameter("ip", slot, "0.0.0.0");
        }

        public uint GetNumberParameter(int slot)
        {
            return uint.Parse(GetParameter("number", slot, "0"), CultureInfo.InvariantCulture);
        }

        public string GetTextParameter(int slot)
        {
            return GetParameter("text", slot, "");
        }

        public object GetValue(int co)
        {
            CheckRange(co, LastCo, "co");
            lock (values)
            {
                object value;
                return values.TryGetValue(co, out value) ? value : null;
            }
        }

        public void SetValue(int co, object value)
        {
            CheckRange(co, LastCo, "co");
            string words = Wire.FromValue(value);
            lock (values)
            {
                values[co] = Wire.ParseValue(words);
            }
            link.Send("set " + co.ToString(CultureInfo.InvariantCulture) + " " + words);
        }

        public void OnValue(int co, Action<object> handler)
        {
            CheckRange(co, LastCo, "co");
            valueHandlers[co] = handler;
        }

        public void OnCommunication(Action<bool> handler)
        {
            communicationHandler = handler;
        }

        public void Log(LogLevel level, string text)
        {
            link.Send("log " + level.ToString().ToLowerInvariant() + " " + Wire.Escape(Wire.Cut(text ?? "")));
        }

        private void OnValueLine(int co, object value)
        {
            lock (values)
            {
                values[co] = value;
            }
            Action<object> handler;
            if (valueHandlers.TryGetValue(co, out handler) && handler != null)
            {
                handler(value);
            }
        }

        private string GetParameter(string kind, int slot, string unset)
        {
            CheckRange(slot, LastSlot, "slot");
            string text;
            return parameters.TryGetValue(kind + " " + slot.ToString(CultureInfo.InvariantCulture), out text) ? text
                                                                                                              : unset;
        }

        private static void CheckRange(int number, int last, string name)
        {
            if (number < 1 || number > last)
            {
                throw new ArgumentOutOfRangeException(name);
            }
        }
    }
}
