' Drives pictures, vectors and maps from the system's script host, with variables wherever it can.
Option Explicit
Dim picture, vector, map, key, value, index, x, y, width, height, said, failures
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
x = 1 : y = 2 : value = 300
picture.PutPixel x, y, value
Expect "GetPixel", picture.GetPixel(x, y), 255
Expect "Clone", picture.Clone.Height, 3
picture.SetRect 1, 1, 3, 2
x = "anything" : y = Empty
picture.GetRect x, y, width, height
Expect "GetRect", x & " " & y & " " & width & " " & height, "1 1 3 2"
value = "Streifen"
picture.Name = value
picture.Tag = value
value = "overwritten"
Expect "Name and Tag", picture.Name & picture.Tag, "StreifenStreifen"

Set vector = CreateObject("VectorKLP.VariantVectorKLP")
vector.Count = 3
index = 0 : value = "eins"
vector(index) = value
vector.Value(1) = 2.5
Set vector(2) = picture
value = Empty
Expect "Value", vector(index) & vector(1) & vector(2).Name, "eins" & 2.5 & "Streifen"
vector.HasElementTags = True
value = "tag"
vector.ElementTag(index) = value
Expect "ElementTag", vector.ElementTag(index), "tag"
said = ""
For Each value In vector
  vector.Count = 0
  If IsObject(value) Then said = said & value.Name Else said = said & value
Next
Expect "For Each element", said & vector.Count, "eins" & 2.5 & "Streifen0"

Set map = CreateObject("RastelKLP.AttributeBstrMapKLP")
key = "b" : value = 1
map(key) = value
map("a") = "zwei"
Set map("picture") = picture
Set picture.AttributeMap = map
said = ""
For Each key In picture.AttributeMap.Keys
  If IsObject(map(key)) Then said = said & map(key).Name Else said = said & map(key)
Next
Expect "Keys", said, "zwei1Streifen"
said = ""
For Each key In map
  If map.Exists(key) Then map.Remove key
  said = said & key
Next
Expect "For Each key", said & map.Count, "abpicture0"

Dim numbers
Set numbers = CreateObject("RastelKLP.AttributeDoubleMapKLP")
value = 0.5
numbers(value) = "half"
For Each key In numbers
  Expect "A number", numbers(key), "half"
Next

Sub Tell(what)
  WScript.Echo what & ": " & Hex(Err.Number) & " " & Err.Description
  Err.Clear
End Sub
On Error Resume Next
picture.Width = -1
Tell Err.Source
key = 3
map(key) = value
Tell "a number as a key"
Set numbers = CreateObject("RastelKLP.AttributeLongMapKLP")
numbers(key) = value
Tell "an integer as a key"
picture.Unite Nothing
Tell "no picture"
Set picture.AttributeMap = picture
Tell "not a map"
WScript.Quit failures
