' One of several clients that start at the same moment: writes its own scale, and ends when it has
' read what all of them wrote, which takes that they share one process.
'   sharer.vbs NUMBER COUNT
Option Explicit

Dim connection, server, i, together
Set connection = CreateObject("TarnSclServer.TarnServerConnection")
Set server = connection.TarnScaleServer(0)
server.GetScale(WScript.Arguments(0)).AliasName = "Shared " & WScript.Arguments(0)
Do
    WScript.Sleep 50
    together = True
    For i = 1 To CInt(WScript.Arguments(1))
        If server.GetScale(i).AliasName <> "Shared " & i Then together = False
    Next
Loop Until together
WScript.Echo "All of sharer.vbs"
