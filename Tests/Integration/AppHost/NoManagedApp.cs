public sealed class NoManagedApp
{
}
