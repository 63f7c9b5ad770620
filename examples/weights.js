// Follows the weight of one scale for some seconds and tares it.
//
//   cscript weights.js [SCALE [SECONDS]]
var number = 1;
var seconds = 10;
if (WScript.Arguments.length > 0) number = parseInt(WScript.Arguments.Item(0), 10);
if (WScript.Arguments.length > 1) seconds = parseInt(WScript.Arguments.Item(1), 10);

// The first client's TarnServerConnection starts the server; it ends with the last one.
var connection = WScript.CreateObject("TarnSclServer.TarnServerConnection");
var server = connection.TarnScaleServer(0);
var scale = server.GetScale(number);
var weight = scale.WeightData;
WScript.Echo("Scale " + number + " \"" + scale.AliasName + "\"");
WScript.Echo("Now: " + reading());

WScript.ConnectObject(scale, "scale_");
WScript.ConnectObject(weight, "weight_");

scale.T();  // tares the scale; nothing happens on a one-way connection
WScript.Sleep(seconds * 1000);

WScript.DisconnectObject(weight);
WScript.DisconnectObject(scale);
WScript.Echo("End of weights");

function reading() {
  return "gross " + weight.GrossWeight + " tare " + weight.TareWeight + " net " +
      weight.NetWeight + " " + weight.Units + (weight.Motion ? " (in motion)" : "") +
      (weight.NoDataError ? " (no data)" : "");
}

function weight_NewWeight() {
  WScript.Echo("NewWeight: " + reading());
}

function weight_StatusChange() {
  WScript.Echo("StatusChange: zero " + weight.AtZero + " net " + weight.InNetMode +
               " out of range " + weight.OutOfRange);
}

function scale_NewStatus() {
  WScript.Echo("NewStatus: active " + scale.ActivityLED + " error " + scale.ErrorLED);
}
