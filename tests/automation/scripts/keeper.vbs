' Puts scale 1 on a port, starts it, and keeps the server until the stop file is there.
'   keeper.vbs PORT STOP_FILE
Option Explicit

Dim connection, server, scale, serial, files
Set connection = CreateObject("TarnSclServer.TarnServerConnection")
Set server = connection.TarnScaleServer(0)
Set scale = server.GetScale(1)
Set serial = CreateObject("TarnSclServer.SerialConnection")
serial.ComPort = CInt(WScript.Arguments(0))
serial.IsBidirectional = True
Set scale.Connection = serial
Set scale.Protocol = CreateObject("TarnSclServer.TarnContinuousProtocol")
scale.AliasName = "Kept"
scale.Disabled = False
WScript.Echo "running", scale.RunScale()
Set files = CreateObject("Scripting.FileSystemObject")
Do Until files.FileExists(WScript.Arguments(1))
    WScript.Sleep 50
Loop
WScript.Echo "All of keeper.vbs"
