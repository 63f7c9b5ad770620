// The same from the other language, as far as it differs: objects, exceptions, missing arguments.
function expect(what, got, wanted) {
  if (got === wanted) return;
  WScript.Echo("WRONG " + what + ": got " + got + " wanted " + wanted);
  WScript.Quit(3);
}

function errorOf(action) {
  try {
    action();
  } catch (error) {
    return (error.number & 0xffff) + " " + error.description;
  }
  return "none";
}

var connection = new ActiveXObject("TarnSclServer.TarnServerConnection");
var server = connection.TarnScaleServer(0);
var scale = server.GetScale(3);
expect("identity", scale.AliasName, server.GetScale("3").AliasName);
expect("GetScale(33)", errorOf(function () { server.GetScale(33); }), "9 Subscript out of range");
expect("a port that is not there",
       errorOf(function () { scale.Connection.SaxPort.PortOpen = true; }) !== "none", true);

scale.Connection = new ActiveXObject("TarnSclServer.SerialConnection");
scale.Protocol = new ActiveXObject("TarnSclServer.TarnContinuousProtocol");
scale.Connection.ComPort = "9";
scale.Connection.Parity = 1.0;
scale.Protocol.pType = 4;
expect("ComPort", scale.Connection.ComPort, 9);
expect("Parity", scale.Connection.Parity, 1);
expect("pType", scale.Protocol.pType, 4);
scale.AliasName = "Tor \u00e4\u20ac";
expect("AliasName", scale.AliasName, "Tor \u00e4\u20ac");
scale.SetTare(12.5);
scale.SetTare("12.5");
scale.printRequest();
expect("PRState", scale.PRState, true);
scale.printRequest(true);
expect("a class that clients cannot create",
       errorOf(function () { new ActiveXObject("TarnSclServer.TarnScale"); }) !== "none", true);
WScript.Echo("All of late_bound.js");
