' A script that knows a ProgID alone: what an installation must serve.
Set picture = CreateObject("AOIKLP.ByteKLP.2")
picture.CreateImage 4, 3
picture.Fill 300
WScript.Echo picture.GetPixel(3, 2)
