' Connects again and again for a moment: creates the server, reads an alias, releases it, pauses.
'   passer_by.vbs TIMES LONGEST_PAUSE
Option Explicit

Dim connection, i
Randomize
For i = 1 To CInt(WScript.Arguments(0))
    Set connection = CreateObject("TarnSclServer.TarnServerConnection")
    If connection.TarnScaleServer(0).GetScale(1).AliasName = "" Then WScript.Quit 3
    Set connection = Nothing
    WScript.Sleep Int(Rnd * (CInt(WScript.Arguments(1)) + 1))
Next
WScript.Echo "All of passer_by.vbs"
