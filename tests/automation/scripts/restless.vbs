' A handler that stops the scale in the middle of a frame, gives it another protocol, and makes a new
' configuration.
'   restless.vbs PORT
Option Explicit

Dim connection, server, scale, weight, serial, events
events = 0
Set connection = CreateObject("TarnSclServer.TarnServerConnection")
Set server = connection.TarnScaleServer(0)
Start
Do Until events >= 6
    WScript.Sleep 50
    If events = 3 Then
        events = 4
        Start
    End If
Loop
scale.StopScale
WScript.Echo "All of restless.vbs"

Sub Start()
    Set scale = server.GetScale(1)
    Set serial = CreateObject("TarnSclServer.SerialConnection")
    serial.ComPort = CInt(WScript.Arguments(0))
    Set scale.Connection = serial
    Set scale.Protocol = CreateObject("TarnSclServer.TarnContinuousProtocol")
    scale.Disabled = False
    Set weight = scale.WeightData
    WScript.ConnectObject weight, "weight_"
    scale.RunScale
End Sub

Sub weight_NewWeight()
    If weight.GrossWeight = "" Then Exit Sub
    events = events + 1
    If events = 1 Then
        scale.StopScale
        scale.RunScale
    ElseIf events = 2 Then
        scale.StopScale
        Set scale.Protocol = CreateObject("TarnSclServer.TarnContinuousProtocol")
        scale.RunScale
    ElseIf events = 3 Then
        WScript.DisconnectObject weight
        server.LoadScaleSettings True
    End If
End Sub
