' What scripts write every day, each line with its expected result. Ends with a sentinel line.
'   late_bound.vbs PORT SETTINGS_FILE
Option Explicit

Dim connection, server, scale, again, n, serial, continuous, port, timer, heard
Dim template, record, condition

Sub Expect(what, got, wanted)
    If got <> wanted Then
        WScript.Echo "WRONG", what & ": got", got, "wanted", wanted
        WScript.Quit 3
    End If
End Sub

Sub ExpectError(what, number, description)
    Expect what & " number", Err.Number, number
    Expect what & " description", Err.Description, description
    Expect what & " source", Err.Source, "TarnSclServer"
    Err.Clear
End Sub

Sub ExpectNumber(what, number)
    Expect what, Err.Number, number
    Err.Clear
End Sub

Sub ExpectHeard(what, wanted)
    Expect "the events of " & what, heard, wanted
    heard = ""
End Sub

Sub WaitFor(what)
    Dim waited
    For waited = 1 To 600
        If InStr(heard, what) > 0 Then Exit Sub
        WScript.Sleep 50
    Next
    Expect "in time", heard, what
End Sub

Sub scale_ScaleConfigurationChange() : heard = heard & "config " : End Sub
Sub scale_NewStatus() : heard = heard & "status " : End Sub
Sub server_InfoMessage(message, style) : heard = heard & message & " (" & style & ")" : End Sub
Sub scale_UpdateWeight() : heard = heard & "update " : End Sub
Sub weight_StatusChange() : heard = heard & "flags " : End Sub
Sub weight_NewWeight() : heard = heard & "weight " : End Sub
Sub print_NewWeight() : heard = heard & "print " : End Sub
Sub record_ConfigChanged() : heard = heard & "fields " : End Sub
Sub record_NewDataReady() : heard = heard & "record " : End Sub
Sub condition_ConditionChanged() : heard = heard & "condition " : End Sub
Sub activity_TimedOut() : heard = heard & "timeout " : End Sub

' Longer than the timer's interval: the server's timers wait until the event has returned.
Sub timer_Timer()
    heard = heard & "tick "
    WScript.Sleep 150
    heard = heard & "done "
End Sub

Set connection = CreateObject("TarnSclServer.TarnServerConnection")
n = 7
Set server = connection.TarnScaleServer(n)
Expect "the component number", n, 7
Set scale = server.GetScale(n)
n = "7"
Set again = server.GetScale(n)
Expect "identity", scale Is again, True
Expect "another scale", scale Is server.GetScale(8), False
Expect "the server through a second connection", _
       CreateObject("TarnSclServer.TarnServerConnection").TarnScaleServer(1) Is server, True
Expect "identity of a record", scale.WeightData Is again.WeightData, True

' A new connection and protocol
Expect "no connection", scale.Connection.Ctype, 0
Set serial = CreateObject("TarnSclServer.SerialConnection")
serial.ComPort = CInt(WScript.Arguments(0))
serial.IsBidirectional = False
Set scale.Connection = serial
Set continuous = CreateObject("TarnSclServer.TarnContinuousProtocol")
continuous.pType = 1
Set scale.Protocol = continuous
Expect "Connection", scale.Connection Is serial, True
Expect "TypeToClass", scale.Protocol.TypeToClass(17), 8
server.SetComPortsUsed
Expect "the port in use", server.GetComPortUsed(serial.ComPort), True
Expect "a free port", server.GetComPortUsed(28), False
Expect "the server's folder", Len(server.GetServerPath(0)) > 3, True

' Numbers of any type, optional arguments
scale.SetTare 12.5
scale.SetTare "12.5"
n = 12.5
scale.SetTare n
Expect "the tare by reference", n, 12.5
scale.printRequest
Expect "PRState", scale.PRState, True
scale.printRequest True
Expect "the record of a client", scale.PrintData.Origin, 2
scale.DetectMinimum = "0.5"
scale.DetectRearm = scale.DetectMinimum / 2
Expect "the detection", scale.DetectRearm + scale.DetectStable + scale.DetectDigits, 1001.25
scale.UpdateRate = "4"
Expect "UpdateRate", scale.UpdateRate, 4
scale.AliasName = "Gate 7"

' The objects behind the controls
Set port = serial.SaxPort
port.Settings = "4800,n,8,1"
port.InBufferCount = 0
server.CurrentLogName = WScript.Arguments(1) & ".log"
server.LoggingEnabled = True
Set again = server.LogFile
Set server.LogFile = Nothing
Expect "no log", server.LogFile Is Nothing, True
Set server.LogFile = again
again.WriteLine "A line of a script"
scale.printRequest True
server.CurrentLogName = "Default.log"

' Events: in the middle of the call that raises them, and while the script sleeps
heard = ""
WScript.ConnectObject scale, "scale_"
WScript.ConnectObject scale.WeightData, "weight_"
WScript.ConnectObject scale.PrintData, "print_"
WScript.ConnectObject scale.ActivityTimer, "activity_"
scale.AliasName = "Gate 7"
ExpectHeard "a new name", "config "
scale.ErrorLED = False
ExpectHeard "the lamp", "status "
scale.printRequest
scale.StopScale
ExpectHeard "a stop while a print waits", "flags print weight "
scale.printRequest True
ExpectHeard "a print at once", "print "
scale.ActivityTimer.TimeoutTime = 200
WaitFor "timeout"
ExpectHeard "the silence of a disabled scale", "timeout "
Set timer = scale.UpdateTimer
WScript.ConnectObject timer, "timer_"
timer.Interval = 50
timer.Enabled = True
WaitFor "tick done update tick done "
timer.Enabled = False
Expect "the first events of the timer", Left(heard, 34), "update tick done update tick done "
heard = ""

' Records of a template: an object in an object, a property with an index, an array
Set template = CreateObject("TarnSclServer.TarnRecordTemplateConfig")
template.FieldName(2) = "Net"
Set again = CreateObject("TarnSclServer.DemandTemplateProtocol")
Set again.TemplateConfig = template
Expect "TemplateConfig", again.TemplateConfig Is template, True
Set scale.Protocol = again
Expect "the weights", scale.WeightData.NetWeight, "N/A"
Set record = scale.TarnRecordTemplateData
WScript.ConnectObject record, "record_"
heard = ""
template.NumFields = 3
record.ClearRecord
ExpectHeard "a template and its record", "fields record "
Expect "the fields of the record", record.NumFields & record.FieldName(2), "3Net"
Expect "an array", IsArray(record.FieldDataArray), True
Set scale.Protocol = continuous
heard = ""

' The condition of its reading
Set condition = scale.Condition
Expect "the identity of a condition", condition Is scale.Condition, True
Expect "a disabled scale", condition.Quality & condition.Reason & condition.AgeMs, "01-1"
WScript.ConnectObject condition, "condition_"
scale.Disabled = False
WaitFor "condition "
Expect "a stopped scale", condition.ReasonText & CDbl(condition.ReadingTime), "the scale is stopped0"
Expect "its counters", condition.Counter(0) + condition.Counter(12, True), 0
condition.ResetCounters
WScript.DisconnectObject condition
heard = ""

' Errors
On Error Resume Next
condition.Counter 13
ExpectError "Counter(13)", 9, "Subscript out of range"
server.GetScale 33
ExpectError "GetScale(33)", 9, "Subscript out of range"
server.GetScale "one"
ExpectNumber "a text for a number", 13
Set scale.Connection = continuous
ExpectNumber "a protocol for a connection", 13
scale.Connection.IsBidirectional = True
scale.SetTare 1
ExpectNumber "a command while the port is closed", 8018
scale.NoSuchMember
ExpectNumber "an unknown member", 438
port.InBufferCount = 3
ExpectNumber "a value that cannot be", 380
port.Output = "x"
ExpectNumber "output while it is closed", 8018
port.CommPort = 250
port.PortOpen = True
ExpectNumber "a port that is not there", 8002
CreateObject("TarnSclServer.SummitProtocol").ConvertReadData Nothing, Nothing
ExpectNumber "an answer to nothing", 91
On Error GoTo 0

' Save, load, new configuration
server.CurrentFileName = WScript.Arguments(1)
server.SaveScaleSettings
server.LoadScaleSettings True
Expect "an empty slot's connection", server.GetScale(7).Connection.Ctype, 0
server.CurrentFileName = WScript.Arguments(1)
server.LoadScaleSettings False
Expect "the loaded alias", server.GetScale(7).AliasName, "Gate 7"
Expect "the loaded protocol", server.GetScale(7).Protocol.pType, 1
Expect "the old scale", scale Is server.GetScale(7), False
heard = ""
WScript.ConnectObject server, "server_"
server.CurrentFileName = "Z:\no such folder\plant.scl"
server.SaveScaleSettings
ExpectHeard "a save", "Can't write configuration settings file: Z:\no such folder\plant.scl (48)"
WScript.Echo "All of late_bound.vbs"
