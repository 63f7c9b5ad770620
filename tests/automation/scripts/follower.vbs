' Prints the readings of scale 1 as they come, until the stop file is there.
'   follower.vbs STOP_FILE WAY
' The way says what the handler does besides: "plain" nothing, "callback" calls into other objects of
' the server, "release" unsubscribes at the third event and releases the server there.
Option Explicit

Dim connection, server, scale, weight, files, events, way
way = WScript.Arguments(1)
events = 0
Set connection = CreateObject("TarnSclServer.TarnServerConnection")
Set server = connection.TarnScaleServer(0)
Set scale = server.GetScale(1)
Set weight = scale.WeightData
WScript.ConnectObject weight, "weight_"
WScript.Echo "following", scale.AliasName
Set files = CreateObject("Scripting.FileSystemObject")
Do Until files.FileExists(WScript.Arguments(0))
    WScript.Sleep 50
Loop
WScript.Echo "events", events
WScript.Echo "All of follower.vbs"

Sub weight_NewWeight()
    events = events + 1
    If way = "callback" Then CallBack
    WScript.Echo "weight", weight.GrossWeightValue
    If events = 3 And way = "release" Then LetGo
End Sub

Sub CallBack()
    Dim other
    Set other = server.GetScale(2)
    other.UpdateRate = 0
    other.AliasName = "Reading " & events
    If other.AliasName <> "Reading " & events Then WScript.Quit 3
    scale.SetTare 0
End Sub

Sub LetGo()
    WScript.DisconnectObject weight
    Set weight = Nothing
    Set scale = Nothing
    Set server = Nothing
    Set connection = Nothing
End Sub
