' Stops scale 1.
CreateObject("TarnSclServer.TarnServerConnection").TarnScaleServer(0).GetScale(1).StopScale
WScript.Echo "All of stopper.vbs"
