// Drives a map and a vector from the system's script host: what differs from the other language.
var failures = 0;
function expect(what, actual, expected) {
  if (actual === expected) return;
  WScript.Echo(what + ": " + actual + " instead of " + expected);
  ++failures;
}

var map = new ActiveXObject("RastelKLP.AttributeBstrMapKLP");
var key = "b";
map.Value(key) = 1;
map.Value("a") = "zwei";
var said = "";
for (var keys = new Enumerator(map); !keys.atEnd(); keys.moveNext()) {
  said += keys.item() + "=" + map.Value(keys.item()) + " ";
}
expect("Enumerator", said, "a=zwei b=1 ");

var vector = new ActiveXObject("VectorKLP.DoubleKLP");
vector.Count = 2;
vector.Value(1) = 2.5;
said = "";
for (var elements = new Enumerator(vector); !elements.atEnd(); elements.moveNext()) {
  said += elements.item() + " ";
}
expect("elements", said, "0 2.5 ");

var picture = new ActiveXObject("AOIKLP.ByteKLP");
picture.AttributeMap = map;
expect("AttributeMap", picture.AttributeMap.Count, 2);
try {
  picture.Width = -1;
} catch (error) {
  WScript.Echo((error.number >>> 0).toString(16) + " " + error.description);
}
WScript.Quit(failures);
