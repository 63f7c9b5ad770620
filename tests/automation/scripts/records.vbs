' Records of a terminal, printed on demand, over a serial line or over TCP.
'   records.vbs SCALE COM_PORT_OR_ADDRESS
Option Explicit

Dim connection, scale, link, protocol, template, record, arrived, changes

Sub Expect(what, got, wanted)
    If got <> wanted Then
        WScript.Echo "WRONG", what & ": got", got, "wanted", wanted
        WScript.Quit 3
    End If
End Sub

Set connection = CreateObject("TarnSclServer.TarnServerConnection")
Set scale = connection.TarnScaleServer(0).GetScale(WScript.Arguments(0))
If IsNumeric(WScript.Arguments(1)) Then
    Set link = CreateObject("TarnSclServer.SerialConnection")
    link.ComPort = WScript.Arguments(1)
    Set protocol = CreateObject("TarnSclServer.DemandTemplateProtocol")
    Expect "the demand text", protocol.TemplateConfig.DemandOutput, "P"
Else
    Set link = CreateObject("TarnSclServer.EthernetConnection")
    link.IPAddress = WScript.Arguments(1)
    Set protocol = CreateObject("TarnSclServer.KesDemandTemplateProtocol")
    Expect "the demand text", protocol.TemplateConfig.DemandOutput, Chr(8)
    Expect "the letter", protocol.scaleNum, "A"
End If
link.IsBidirectional = True
link.AutoReconnect = True
Set scale.Connection = link
Set scale.Protocol = protocol
Set record = scale.TarnRecordTemplateData
WScript.ConnectObject record, "record_"

Set template = CreateObject("TarnSclServer.TarnRecordTemplateConfig")
Expect "a default name", template.FieldName(7), "Field7"
Set protocol.TemplateConfig = template
Expect "TemplateConfig", protocol.TemplateConfig Is template, True
template.NumFields = 3
template.Terminator = vbCrLf
template.Timeout = 5000
template.FieldName(2) = "Net"
If Not IsNumeric(WScript.Arguments(1)) Then template.DemandOutput = Chr(8)
Expect "changes of the template", changes >= 4, True
Expect "the fields of the record", record.NumFields & record.FieldName(2), "3Net"
Expect "the weights", scale.WeightData.NetWeight, "N/A"

arrived = False
scale.Disabled = False
Expect "running", scale.RunScale(), True
Do Until arrived
    scale.P
    WScript.Sleep 300
Loop
Expect "the units", Trim(record.FieldData(3)), "kg"
Expect "an array", IsArray(record.FieldDataArray), True
Expect "no error", record.NoDataError, False
scale.StopScale
WScript.Echo "All of records.vbs"

' The load needs a moment to settle.
Sub record_NewDataReady()
    If Trim(record.FieldData(2)) = "12.50" Then arrived = True
End Sub

Sub record_ConfigChanged()
    changes = changes + 1
End Sub
