// Follows the weight of scale 1 for ten seconds.
//
// The reference: tlbimp TarnSclServer.exe /out:Interop.TarnSclServer.dll, or "Add COM reference" in
// Visual Studio. The event interfaces become .NET events there.
using System;
using System.Runtime.InteropServices;
using System.Windows.Forms;
using TarnSclServer;

internal static class Program
{
    // Events arrive as messages of this thread, so it is a single-threaded apartment with a loop.
    [STAThread]
    private static void Main()
    {
        var connection = new TarnServerConnection();
        int component = 0;
        _TarnScaleServer server = connection.get_TarnScaleServer(ref component);
        var scale = (TarnScale)server.GetScale(1);
        var weight = (WeightData)scale.WeightData;

        weight.NewWeight += () =>
            Console.WriteLine($"NewWeight: net {weight.NetWeight} {weight.Units}");
        scale.NewStatus += () => Console.WriteLine($"NewStatus: error {scale.ErrorLED}");

        try
        {
            server.GetScale(33);
        }
        catch (COMException error)
        {
            // The low word is the error number of Basic, such as 9 for an index out of range.
            Console.WriteLine($"Scale 33: error {error.HResult & 0xFFFF}, {error.Message}");
        }

        double tare = 12.5;
        scale.SetTare(ref tare);

        // The library has a class Timer too.
        var end = new System.Windows.Forms.Timer { Interval = 10000, Enabled = true };
        end.Tick += (sender, arguments) => Application.ExitThread();
        Application.Run();

        Marshal.FinalReleaseComObject(weight);
        Marshal.FinalReleaseComObject(scale);
        Marshal.FinalReleaseComObject(server);
        Marshal.FinalReleaseComObject(connection);
    }
}
