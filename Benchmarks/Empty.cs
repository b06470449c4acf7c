internal static class Empty
{
    public static void Main()
    {
    }
}
