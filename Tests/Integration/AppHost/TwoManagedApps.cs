using Orn;

public sealed class OneManagedApp : IApp
{
    public void Start(IDevice device)
    {
    }

    public void Stop()
    {
    }
}

public sealed class OtherManagedApp : IApp
{
    public void Start(IDevice device)
    {
    }

    public void Stop()
    {
    }
}
