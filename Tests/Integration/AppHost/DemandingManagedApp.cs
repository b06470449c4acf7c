using Orn;

/// <summary>Wants something at its construction that nobody has for it.</summary>
public sealed class DemandingManagedApp : IApp
{
    public DemandingManagedApp(IDevice device)
    {
    }

    public void Start(IDevice device)
    {
    }

    public void Stop()
    {
    }
}
