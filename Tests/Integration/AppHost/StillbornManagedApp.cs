using System;
using Orn;

public sealed class StillbornManagedApp : IApp
{
    public StillbornManagedApp()
    {
        throw new InvalidOperationException("not even today");
    }

    public void Start(IDevice device)
    {
    }

    public void Stop()
    {
    }
}
