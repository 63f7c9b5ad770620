"""Follows the weight of scale 1 for ten seconds.

    python weights.py            with comtypes (early bound, from the type library)
    python weights.py win32com   with pywin32 (late bound or with makepy's classes)
"""
import sys
import time

PROGRAM = "TarnSclServer.TarnServerConnection"


class WeightEvents:
    """Both packages call the method of the event's name."""

    weight = None

    def NewWeight(self, this=None):
        print("NewWeight: net", self.weight.NetWeight, self.weight.Units)

    OnNewWeight = NewWeight  # pywin32 puts "On" before the names


def with_comtypes():
    import comtypes.client
    connection = comtypes.client.CreateObject(PROGRAM)
    # The argument goes by reference, so it comes back, too: here in front of the result.
    _, server = connection.TarnScaleServer[0]
    scale = server.GetScale(1)
    sink = WeightEvents()
    sink.weight = scale.WeightData
    advised = comtypes.client.GetEvents(sink.weight, sink)
    scale.T()
    comtypes.client.PumpEvents(10)
    del advised


def with_win32com():
    import pythoncom
    import win32com.client
    connection = win32com.client.Dispatch(PROGRAM)
    # The same as above, but here the argument comes back behind the result.
    server, _ = connection.TarnScaleServer(0)
    scale = server.GetScale(1)
    sink = win32com.client.WithEvents(scale.WeightData, WeightEvents)
    sink.weight = scale.WeightData
    scale.T()
    end = time.monotonic() + 10
    while time.monotonic() < end:
        pythoncom.PumpWaitingMessages()
        time.sleep(0.01)
    sink.close()


if __name__ == "__main__":
    if sys.argv[1:] == ["win32com"]:
        with_win32com()
    else:
        with_comtypes()
