' The weight of a terminal from its shared data, commands, and a socket of the terminal's own use.
'   shared_data.vbs SCALE ADDRESS
Option Explicit

Dim connection, scale, link, protocol, weight, net, socket, datagrams

Sub Expect(what, got, wanted)
    If got <> wanted Then
        WScript.Echo "WRONG", what & ": got", got, "wanted", wanted
        WScript.Quit 3
    End If
End Sub

Sub WaitForNet(wanted)
    Do Until net = wanted
        WScript.Sleep 20
    Loop
End Sub

Set connection = CreateObject("TarnSclServer.TarnServerConnection")
Set scale = connection.TarnScaleServer(0).GetScale(WScript.Arguments(0))
Set link = CreateObject("TarnSclServer.EthernetConnection")
Expect "a new address", link.IPAddress, "0.0.0.0"
Expect "no socket yet", link.mvarSocket Is Nothing, True
Expect "any sender counts", link.CheckSender, False
link.CheckSender = True
Expect "only the terminal counts", link.CheckSender, True
scale.CorrectReadings = True
Expect "the corrected rules", scale.CorrectReadings, True
scale.CorrectReadings = False
link.IPAddress = WScript.Arguments(1)
link.IsBidirectional = True
Set protocol = CreateObject("TarnSclServer.KesSDProtocol")
protocol.scaleNum = "A"
Expect "the letter", protocol.scaleNum & protocol.pType, "a14"
Set scale.Connection = link
Set scale.Protocol = protocol
Set weight = scale.WeightData
WScript.ConnectObject weight, "weight_"
scale.UpdateRate = 10
scale.Disabled = False
Expect "running", scale.RunScale(), True

WaitForNet 12.5
Expect "the texts", weight.GrossWeight & " " & weight.Units, "12.50 kg"
scale.T
WaitForNet 0
Expect "the tare", weight.TareWeightValue, 12.5
scale.C
WaitForNet 12.5
scale.SetTare 2.5
WaitForNet 10

' The socket as its users know it.
Set socket = link.mvarSocket
WScript.ConnectObject socket, "socket_"
datagrams = 0
Do Until datagrams > 5
    WScript.Sleep 20
Loop
On Error Resume Next
socket.Protocol = 0
Expect "another transport while it is open", Err.Number, 40020
Err.Clear
On Error GoTo 0
scale.StopScale
Expect "the closed socket", socket.State, 0
socket.Protocol = 1
socket.Bind 0
Expect "a port of the system's choice", socket.LocalPort > 0 And socket.State = 1, True
socket.Close
WScript.Echo "All of shared_data.vbs"

Sub weight_NewWeight()
    net = weight.NetWeightValue
End Sub

Sub socket_DataArrival(bytesTotal)
    If bytesTotal > 29 And socket.SenderPort = 1701 Then datagrams = datagrams + 1
End Sub
