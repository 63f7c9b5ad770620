' One of several clients that start at the same moment: writes its own scale and reads all.
'   sharer.vbs NUMBER COUNT STOP_FILE
Option Explicit

Dim connection, server, files, i, together
Set connection = CreateObject("TarnSclServer.TarnServerConnection")
Set server = connection.TarnScaleServer(0)
server.GetScale(WScript.Arguments(0)).AliasName = "Shared " & WScript.Arguments(0)
Set files = CreateObject("Scripting.FileSystemObject")
Do
    WScript.Sleep 50
    together = True
    For i = 1 To CInt(WScript.Arguments(1))
        If server.GetScale(i).AliasName <> "Shared " & i Then together = False
    Next
Loop Until together
WScript.Echo "together"
Do Until files.FileExists(WScript.Arguments(2))
    WScript.Sleep 50
Loop
WScript.Echo "All of sharer.vbs"
