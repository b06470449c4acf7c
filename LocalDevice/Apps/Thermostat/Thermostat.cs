using System;
using Orn;

/// <summary>
/// A room thermostat: the heating opens the further, the colder the room is.
///
/// Communication objects: 1 room temperature (9.001), 2 set point (9.001), 3 heating valve (5.001), 4 the set point in
/// force (9.001). Parameters: number 1 set point at the start in tenths of a degree; number 2 percent of the valve for
/// each degree that is missing; number 3 the highest set point in degrees.
/// </summary>
public sealed class Thermostat : IApp
{
    private const int Temperature = 1;
    private const int SetPoint = 2;
    private const int Valve = 3;
    private const int SetPointInForce = 4;

    private IDevice device;
    private double gain;
    private double highest;
    private double setPoint;

    public void Start(IDevice owner)
    {
        device = owner;
        setPoint = device.GetNumberParameter(1) / 10.0;
        gain = device.GetNumberParameter(2);
        highest = device.GetNumberParameter(3);
        device.OnValue(Temperature, value => Regulate());
        device.OnValue(SetPoint, OnSetPoint);
        device.Log(LogLevel.Info, "The set point is " + setPoint + " degrees");
    }

    public void Stop()
    {
        device.SetValue(Valve, 0.0);
    }

    private void OnSetPoint(object value)
    {
        setPoint = Math.Min(Convert.ToDouble(value), highest);
        device.SetValue(SetPointInForce, setPoint);
        Regulate();
    }

    private void Regulate()
    {
        object temperature = device.GetValue(Temperature);
        if (temperature == null)
        {
            return;
        }
        double missing = setPoint - Convert.ToDouble(temperature);
        device.SetValue(Valve, Math.Max(0.0, Math.Min(100.0, missing * gain)));
    }
}
