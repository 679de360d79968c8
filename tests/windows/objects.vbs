' Drives a picture, a vector and a map from the system's script host.
Option Explicit
Dim picture, vector, map, key, failures
failures = 0

Sub Expect(what, actual, expected)
  If actual <> expected Then
    WScript.Echo what & ": " & actual & " instead of " & expected
    failures = failures + 1
  End If
End Sub

Set picture = CreateObject("AOIKLP.ByteKLP.2")
picture.CreateImage 4, 3
picture.Fill 9
picture.PutPixel 1, 2, 300
picture.Name = "Streifen"
Expect "Width", picture.Width, 4
Expect "GetPixel", picture.GetPixel(1, 2), 255
Expect "Clone", picture.Clone.Height, 3

Set vector = CreateObject("VectorKLP.VariantVectorKLP")
vector.Count = 2
vector(0) = "eins"
vector.Value(1) = 2.5
Expect "Value", vector(0) & vector(1), "eins" & 2.5

Set map = CreateObject("RastelKLP.AttributeBstrMapKLP")
map("b") = 1
map("a") = "zwei"
picture.AttributeMap = map
Dim keys
For Each key In picture.AttributeMap.Keys
  keys = keys & key
Next
Expect "Keys", keys, "ab"
Expect "Exists", map.Exists("c"), False

On Error Resume Next
picture.Width = -1
WScript.Echo Hex(Err.Number) & " " & Err.Source & ": " & Err.Description
WScript.Quit failures
