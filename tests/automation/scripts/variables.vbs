' Variables of a terminal: declares them, walks them, reads and writes single ones, follows rounds.
'   variables.vbs SCALE ADDRESS
Option Explicit

Dim connection, scale, configuration, data, protocol, link, tag, names, value, rounds, changed, datagrams
Dim listed, socket, kind

Sub Expect(what, got, wanted)
    If got <> wanted Then
        WScript.Echo "WRONG", what & ": got", got, "wanted", wanted
        WScript.Quit 3
    End If
End Sub

Sub WaitForRounds(count)
    Dim last
    last = rounds + count
    Do Until rounds >= last
        WScript.Sleep 20
    Loop
End Sub

Set connection = CreateObject("TarnSclServer.TarnServerConnection")
Set scale = connection.TarnScaleServer(0).GetScale(WScript.Arguments(0))

' EasyIndex, TagName, TagType, TagDataLen, Writable, Polled
Set configuration = CreateObject("TarnSclServer.TarnKesBasicConfig")
Set tag = configuration.AddVariable("Total", "bas01", 7, 4, True, True)
configuration.AddVariable "Batch", "bas02", 5, 4, False, True
configuration.AddVariable "Recipe", "bas03", 9, 8, True, False
configuration.AddVariable "KBStatus", "bas04", 4, 2, False, True
Expect "the new tag", tag.TagName & tag.TagType & tag.TagDataLen & tag.Writable & tag.Polled, _
       "bas0174TrueTrue"
Expect "a tag by its key", configuration.SDVariables("total") Is tag, True
Expect "no such tag", configuration.SDVariables("Nothing") Is Nothing, True
Expect "the polled tags", configuration.GetTagInfoCount(), 3
For Each tag In configuration.SDVariables
    names = names & " " & tag.EasyIndex
Next
Expect "all tags in order", names, " Total Batch Recipe KBStatus"

Set tag = CreateObject("TarnSclServer.SDTagInfo")
tag.TagData = CDate(36526.5)
Expect "a date", TypeName(tag.TagData) & CDbl(tag.TagData), "Date36526.5"
Set tag.TagData = scale
Expect "an object", tag.TagData Is scale, True

Set listed = CreateObject("TarnSclServer.TarnPredictFailureConfig")
Expect "a listed tag", listed.GetTagInfoByKey("bd021") Is listed.GetTagInfoByIndex(4), True
Expect "its triggers", listed.GetTagInfoCount() & listed.GetResetTrigger(4) & listed.GetUpdateTrigger(1), "20t_63f"
CreateObject("TarnSclServer.SummitData").SetBitData True, Nothing

Set protocol = CreateObject("TarnSclServer.SummitProtocol")
Set protocol.Configuration = configuration
Expect "Configuration", protocol.Configuration Is configuration, True
Set link = CreateObject("TarnSclServer.EthernetConnection")
link.IPAddress = WScript.Arguments(1)
link.CheckSender = True
scale.CorrectReadings = True
Expect "what goes beyond the published members", link.CheckSender And scale.CorrectReadings, True
scale.CorrectReadings = False
Set scale.Connection = link
Set scale.Protocol = protocol
protocol.pType = 23
Set data = scale.SummitData
Expect "the data object by its name", scale.GetAxDataObj("TarnKesBasicData") Is data, True
Expect "no such data object", scale.GetAxDataObj("NoSuchData") Is Nothing, True
rounds = 0
changed = ""
datagrams = 0
WScript.ConnectObject data, "data_"
scale.UpdateRate = 20
scale.Disabled = False
Expect "running", scale.RunScale(), True
Set socket = link.mvarSocket
Expect "the socket", socket.RemoteHost & ":" & socket.RemotePort & " " & socket.LocalPort & _
       " " & socket.State, WScript.Arguments(1) & ":1701 " & 1700 + CInt(WScript.Arguments(0)) & " 1"

WScript.ConnectObject socket, "socket_"
WaitForRounds 2
Expect "datagrams of the terminal", datagrams > 0, True
Expect "what changed", changed, " Total Batch KBStatus"
Expect "a value of the round", data.FloatValue(1), 12.5
Expect "another", data.LongValue(1), 7
Expect "the tag's value", configuration.SDVariables("Batch").TagData, 7
Expect "KBStatus", data.KBStatus, 3

Expect "reading one", data.SDRead("Recipe", value), 0
Expect "its value", value, "bread"
Expect "an unknown one", data.SDRead("Nothing", value), -1
Expect "writing a protected one", data.SDWrite("Batch", 8), -4
Expect "writing a currency", data.SDWrite("Total", CCur(99.5)), 0
Expect "writing a text", data.SDWrite("Recipe", "rolls"), 0
WaitForRounds 2
Expect "what was written", data.FloatValue(1), 99.5
Expect "reading it back", data.SDRead("Recipe", value) & value, "0rolls"

scale.StopScale
Expect "the closed socket", socket.State, 0
On Error Resume Next
value = data.LongValue(2)
Expect "no such value", Err.Number, 9
Err.Clear

' Arguments that are left out, and the type of what is read
socket.Protocol = 2
Expect "a transport that is none", Err.Number, 380
Err.Clear
socket.Protocol = 1
socket.LocalPort = 0
socket.Connect
Expect "connecting a UDP socket", Err.Number, 40006
On Error GoTo 0
socket.Bind
For Each kind In Array(vbString, vbArray + vbByte)
    socket.GetData value, kind
    Expect "the type of what is read", VarType(value), kind
Next
socket.Close
WScript.Echo "All of variables.vbs"

Sub data_NewDataReady()
    rounds = rounds + 1
End Sub

Sub data_KBEvent(easyIndex)
    changed = changed & " " & easyIndex
End Sub

Sub socket_DataArrival(bytesTotal)
    If bytesTotal > 29 And socket.SenderPort = 1701 Then datagrams = datagrams + 1
End Sub
