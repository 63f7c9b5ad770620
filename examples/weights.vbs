' Follows the weight of one scale for some seconds and tares it.
'
'   cscript weights.vbs [SCALE [SECONDS]]
Option Explicit

Dim number, seconds, connection, server, scale, weight, stopAt

number = 1
seconds = 10
If WScript.Arguments.Count > 0 Then number = CInt(WScript.Arguments(0))
If WScript.Arguments.Count > 1 Then seconds = CInt(WScript.Arguments(1))

' The first client's TarnServerConnection starts the server; it ends with the last one.
Set connection = WScript.CreateObject("TarnSclServer.TarnServerConnection")
Set server = connection.TarnScaleServer(0)
Set scale = server.GetScale(number)
Set weight = scale.WeightData
WScript.Echo "Scale", number, """" & scale.AliasName & """"
WScript.Echo "Now:", Reading()

WScript.ConnectObject scale, "scale_"
WScript.ConnectObject weight, "weight_"

scale.T   ' tares the scale; nothing happens on a one-way connection
WScript.Sleep seconds * 1000

WScript.DisconnectObject weight
WScript.DisconnectObject scale
WScript.Echo "End of weights"

Function Reading()
    Reading = "gross " & weight.GrossWeight & " tare " & weight.TareWeight & _
              " net " & weight.NetWeight & " " & weight.Units
    If weight.Motion Then Reading = Reading & " (in motion)"
    If weight.NoDataError Then Reading = Reading & " (no data)"
End Function

Sub weight_NewWeight()
    WScript.Echo "NewWeight:", Reading()
End Sub

Sub weight_StatusChange()
    WScript.Echo "StatusChange: zero", weight.AtZero, "net", weight.InNetMode, _
                 "out of range", weight.OutOfRange
End Sub

Sub scale_NewStatus()
    WScript.Echo "NewStatus: active", scale.ActivityLED, "error", scale.ErrorLED
End Sub
