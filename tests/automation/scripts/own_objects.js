// Objects of the script in place of the server's: a connection, a protocol, a log.
var calls = "";

function expect(what, got, wanted) {
  if (got === wanted) return;
  WScript.Echo("WRONG " + what + ": got " + got + " wanted " + wanted);
  WScript.Quit(3);
}

function expectCalls(what, wanted) {
  expect(what, calls, wanted);
  calls = "";
}

function expectError(what, number, description, work) {
  var error = null;
  try {
    work();
  } catch (e) {
    error = e;
  }
  expect(what + " fails", error !== null, true);
  if (number) expect(what + " number", error.number & 0xFFFF, number);
  if (description) expect(what + " words", error.description, description);
}

function note(text) {
  return function () {
    calls += " " + text;
  };
}

var connection = new ActiveXObject("TarnSclServer.TarnServerConnection");
var server = connection.TarnScaleServer(0);
var scale = server.GetScale(1);
expectError("a class that clients cannot create", 429, "", function () {
  new ActiveXObject("TarnSclServer.TarnScale");
});
scale.AliasName = "Tor \u00e4\u20ac";
expect("AliasName", scale.AliasName, "Tor \u00e4\u20ac");
scale.AliasName = "Own";

var link = {
  IsBidirectional: true,
  Ctype: 3,
  Disconnect: note("disconnect"),
  Connect: note("connect")
};
scale.Connection = link;
expectCalls("assigning a connection closes it", " disconnect");
expect("a member of the connection", scale.Connection.Ctype, 3);
scale.Connection.Ctype = 2;
expect("the connection read back is the script's own", link.Ctype, 2);

var dialect = {
  myScale: null,
  WeightData: null,
  PrintData: null,
  TarnRecordTemplateData: null,
  Connection: null,
  pType: 14,
  Disconnect: note("stop"),
  Connect: function () {
    calls += " start " + this.WeightData.Units + this.myScale.AliasName;
    this.myScale.ActivityLED = true;
  },
  TypeToClass: function (type) {
    return type;
  },
  Z: note("Z"),
  P: note("P"),
  T: note("T"),
  C: note("C"),
  SetTare: function (value) {
    calls += " tare " + value;
  }
};
scale.Protocol = dialect;
expectCalls("assigning a protocol stops the scale", " disconnect");
expect("the protocol's scale", dialect.myScale.AliasName, "Own");
expect("the protocol's connection is the script's own", dialect.Connection.Ctype, 2);
expect("a member of the protocol", scale.Protocol.pType, 14);
expect("a function of it", scale.Protocol.TypeToClass(7), 7);

scale.Disabled = false;
calls = "";
expect("running", scale.RunScale(), true);
expectCalls("the protocol starts before the connection", " start Own connect");
expect("the lamp that the protocol lit", scale.ActivityLED, true);
scale.Z();
scale.T();
scale.P();
scale.C();
scale.SetTare(12.5);
expectCalls("commands", " Z T P C tare 12.5");
link.IsBidirectional = false;
scale.Z();
expectCalls("a command over a one-way line", "");

expectError("an object that lacks members", 13, "Type mismatch", function () {
  scale.Connection = { Connect: note("connect"), Disconnect: note("disconnect") };
});
expectError("a connection for a protocol", 13, "Type mismatch", function () {
  scale.Protocol = link;
});
// Its number depends on the script engine.
expectError("an object for a number", 0, "", function () {
  server.GetScale({ valueOf: note("value"), toString: note("text") });
});
expectCalls("an object for a number is not asked", "");
expect("the connection stays", scale.Connection.Ctype, 2);

var tag = new ActiveXObject("TarnSclServer.SDTagInfo");
tag.TagData = link;
link.mark = "own";
expect("the tag's value is the script's own", tag.TagData.mark, "own");

// A log of the script's own needs a WriteLine only. It lasts until the server opens another one.
var log = { mark: "log", WriteLine: function (line) { calls += line.replace(/^.*Own",/, " "); } };
server.LogFile = log;
expect("the log read back is the script's own", server.LogFile.mark, "log");
server.LoggingEnabled = true;
scale.printRequest(true);
expectCalls("a line of the log", ' 0,0,0,""');
server.CurrentLogName = server.CurrentLogName;
server.LogFile.WriteLine("");
expectCalls("the log that is no more", "");
server.LoggingEnabled = false;

// What only the script knows is not saved, and the server says so.
var heard = "";
WScript.ConnectObject(server, "server_");
function server_InfoMessage(message, style) {
  heard = message + style;
}
server.CurrentFileName = WScript.Arguments(0);
server.SaveScaleSettings();
expect("the message", heard,
       "Objects of clients are not saved; defaults take their place: Scale1.Connection, Scale1.Protocol48");
expect("still the script's own", scale.Connection.Ctype, 2);

scale.Protocol = new ActiveXObject("TarnSclServer.NoProtocol");
scale.Connection = new ActiveXObject("TarnSclServer.NoConnection");
WScript.Echo("All of own_objects.js");
