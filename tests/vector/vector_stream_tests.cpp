// The stream of a vector: its bytes, its four versions, and streams that fail, end or lie.
#include <iterator>

#include "tests/support/fault_stream.h"
#include "tests/vector/vector_test.h"

namespace tests {

namespace {

using VectorStreams = VectorTest;
using testing::AnyOf;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr char kNotWritten[] = "ReadFromStream()->can't write element\r\n";
constexpr char kNotRead[] = "ReadFromStream()->can't read element\r\n";
const Text kShort = OLESTR("insufficient file size");
const Text kShortRaw = OLESTR("Insufficient file size");
const Text kUnknownVersion =
    OLESTR("Rasteldata: Ung\u00FCltige Stream-Versionsnummer beim Lesen eines Vektors");

TEST_F(VectorStreams, Save_WritesTheNewestVersion) {
  const auto longs = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
  EXPECT_EQ(SavedBy(longs), "03 01 00 00 00 00 00 00");
  longs->put_HasElementTags(kOn);
  longs->put_Count(1);
  longs->put_Value(0, -2);
  EXPECT_EQ(SavedBy(longs),
            "03 01 01 00 00 00 FF FF FE FF FF FF 01 00 00 00 00 00 00 00 02 00 00 00 00 00");
  longs->put_HasElementTags(1);
  EXPECT_EQ(SavedBy(longs), "03 01 01 00 00 00 01 00 FE FF FF FF");
  const auto bytes = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP, 3);
  for (LONG i = 0; i < 3; ++i) bytes->put_Value(i, i + 1);
  EXPECT_EQ(SavedBy(bytes), "03 01 03 00 00 00 00 00 01 02 03");

  const auto variants = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 3, kOn);
  variants->put_Value(0, Bits(VT_BOOL, 0xFFFF));
  variants->put_Value(1, TextValue(OLESTR("ab")));
  variants->put_ElementTag(1, NewValue());
  EXPECT_EQ(SavedBy(variants),
            "03 01 03 00 00 00 FF FF 0B 00 0B 00 FF FF "
            "08 00 08 00 06 00 00 00 61 00 62 00 00 00 00 00 00 00 02 00 00 00 00 00 "
            "03 00 00 00 00 00 00 00 02 00 00 00 00 00 "
            "0D 00 " +
                std::string(kTestClassHex) +
                " 02 00 00 00 00 00 00 00 AB CD "
                "00 00 00 00 02 00 00 00 00 00");
}

TEST_F(VectorStreams, Load_ReadsEveryVersionOfEveryType) {
  const struct {
    std::vector<double> values;
    const char* saved;  // the elements in the newest version
  } kinds[] = {{{0, 127, 255}, "00 7F FF"},
               {{-128, -1, 127}, "80 FF 7F"},
               {{0, 258, 65535}, "00 00 02 01 FF FF"},
               {{-32768, 258, 32767}, "00 80 02 01 FF 7F"},
               {{0, 16909060, 4294967295}, "00 00 00 00 04 03 02 01 FF FF FF FF"},
               {{-2147483648.0, 16909060, 2147483647}, "00 00 00 80 04 03 02 01 FF FF FF 7F"},
               {{-1.5, HUGE_VAL, 0.25}, "00 00 C0 BF 00 00 80 7F 00 00 80 3E"},
               {{-1.5, HUGE_VAL, 0.1},
                "00 00 00 00 00 00 F8 BF 00 00 00 00 00 00 F0 7F 9A 99 99 99 99 99 B9 3F"},
               {{2.5, 7, 65535},
                "05 00 05 00 00 00 00 00 00 00 04 40 03 00 03 00 07 00 00 00 0B 00 0B 00 FF FF"}};
  const std::string kTags =
      "03 00 00 00 03 00 03 00 05 00 00 00 08 00 08 00 06 00 00 00 61 00 62 00 00 00 "
      "00 00 00 00 02 00 00 00 00 00";
  for (std::size_t i = 0; i < std::size(kinds); ++i) {
    for (const char* version : {"0100", "0101", "0102", "0103"}) {
      SCOPED_TRACE(testing::Message() << kKinds[i].name << " " << version);
      const std::string bytes = VectorSample(kKinds[i].name + (std::string("_") + version));
      // Over what it held before, and with tags the other way.
      const bool isOldest = std::string_view(version) == "0100";
      const auto vector = NewVector<IVectorKLP>(*kKinds[i].classId, 5);
      if (!isOldest) vector->put_HasElementTags(2);
      const auto stream = NewStream(bytes);
      ASSERT_EQ(vector.As<IPersistStreamInit>()->Load(stream.Get()), S_OK);
      EXPECT_EQ(PositionOf(stream.Get()), (bytes.size() + 1) / 3);
      EXPECT_EQ(ValuesOf(vector), kinds[i].values);
      const std::string head = "03 01 03 00 00 00 ";
      if (isOldest) {
        VARIANT_BOOL hasTags = 9;
        vector->get_HasElementTags(&hasTags);
        EXPECT_EQ(hasTags, 0);
        CComVariant tag;
        EXPECT_EQ(vector->get_ElementTag(0, &tag), E_FAIL);
        EXPECT_EQ(SavedBy(vector), head + "00 00 " + kinds[i].saved);
        vector->put_HasElementTags(kOn);
      }
      const std::string whole = head + "FF FF " + kinds[i].saved + " " + kTags;
      EXPECT_EQ(SavedBy(vector), whole);
      EXPECT_EQ(SizeOf(vector), (whole.size() + 1) / 3);
    }
  }
  // Nulls in both kinds of records, images of 96 bits and of a pointer, floats by their bits, a
  // flag that is neither on nor off.
  const std::string kNone = std::string(" 00 00 00 00 00 00 00 00") + " 00 00 00 00 00 00 00 00 ";
  const std::string kEmpty = "00 00 00 00 02 00 00 00 00 00",
                    kEmptyText = "08 00 08" + kEmpty.substr(8);
  const std::tuple<const char*, const CLSID*, std::string> samples[] = {
      {"variant_0100_nulls", &CLSID_VariantVectorKLP,
       "03 01 04 00 00 00 00 00 " + kEmptyText + " 0D 00" + kNone + "09 00" + kNone + kEmpty},
      {"variant_0101_images", &CLSID_VariantVectorKLP,
       "03 01 03 00 00 00 00 00 0E 00 0E 00 0A 00 00 00 2D 00 30 00 2E 00 31 00 00 00 " + kEmpty +
           " " + kEmpty},
      {"variant_0103_nulls", &CLSID_VariantVectorKLP,
       "03 01 03 00 00 00 00 00 " + kEmpty + " " + kEmptyText + " " + kEmptyText},
      {"double_0103_nan", &CLSID_DoubleVectorKLP, VectorSample("double_0103_nan")},
      {"byte_0103_odd_flag", &CLSID_ByteVectorKLP, VectorSample("byte_0103_odd_flag")}};
  for (const auto& [file, classId, saved] : samples) {
    const auto vector = NewVector<IVectorKLP>(*classId);
    EXPECT_EQ(LoadFrom(vector, VectorSample(file)), S_OK) << file;
    EXPECT_EQ(SavedBy(vector), saved) << file;
  }
}

// Into two elements 9 and 9 with tags, of which the first is VT_I4.
TEST_F(VectorStreams, Load_TellsWhatIsWrongWithAStream) {
  const std::optional<Text> none, tooLong = Text(OLESTR("vector too long")),
                                  noMemory = Text(OLESTR("bad allocation"));
  // The data of an object of an absent class, more than any machine has room for.
  constexpr char kHuge[] =
      "0301 00000000 FFFF 01000000 0D00 99999999999999999999999999999999 0000000000000040 A1";
  const struct {
    const char* hex;
    HRESULT result;
    std::optional<Text> text;
    ULONGLONG position;
    std::vector<double> values;
    VARIANT_BOOL hasTags = 0;
    int firstTag = VT_I4;
    ULONG shortRead = 0, shortBytes = 0;
  } rows[] = {{"0401 01000000", kBadVersion, kUnknownVersion, 2, {9, 9}, kOn},
              {"FF00 01000000", kBadVersion, kUnknownVersion, 2, {9, 9}, kOn},
              // Elements that were there keep what is not delivered.
              {"0301 03000000 0000 01", kReported, kShort, 9, {1, 9, 0}},
              {"0201 03000000 0000 01", kReported, kShort, 9, {1, 9, 0}},
              {"0101 03000000 0000 01", kReported, kShortRaw, 9, {1, 9, 0}},
              {"0001 03000000 01", S_OK, none, 7, {1, 9, 0}, kOn, -1},
              {"0301 FFFFFFFF 0200", kMemory, none, 8, {9, 9}, 2},
              {"0201 FFFFFFFF 0000", kMemory, none, 8, {9, 9}},
              {"0101 00000080 0000", kMemory, none, 8, {9, 9}},
              {"0001 FFFFFFFF 0000", kMemory, none, 6, {9, 9}, kOn},
              {"0301 01000000 FFFF 05 FFFFFFFF", kReported, tooLong, 13, {5}, kOn},
              {"0201 01000000 FFFF 05 FFFFFFFF", kMemory, none, 13, {5}, kOn},
              {"0101 01000000 FFFF 05 FFFFFFFF", kMemory, none, 13, {5}, kOn},
              {"0001 01000000 05 FFFFFFFF", kMemory, none, 11, {5}, kOn},
              // A flag of 1 clears the tags; what follows is not read.
              {"0301 01000000 0100 05 01000000", S_OK, none, 9, {5}, 1, VT_EMPTY},
              {"0201 01000000 0000 05 01000000", S_OK, none, 9, {5}, 0, VT_EMPTY},
              // A failing tag ends the load in the older versions only.
              {"0201 00000000 FFFF 01000000 03", E_FAIL, none, 13, {}, kOn, VT_EMPTY},
              {"0301 00000000 FFFF 01000000 03", S_OK, none, 13, {}, kOn, VT_EMPTY},
              {kHuge, kReported, noMemory, 38, {}, kOn},
              // Half a flag over FF FF.
              {"0301 01000000 02", kReported, kShort, 7, {9}, -254},
              // Short reads of streams that have more.
              {"0301 03000000 0000 010203", kReported, kShort, 10, {1, 2, 0}, 0, VT_I4, 4, 2},
              {"0201 03000000 0000 010203", kReported, kShort, 8, {9, 9, 0}, 0, VT_I4, 4, 0},
              {"0101 03000000 0000 010203", kReported, kShortRaw, 9, {1, 9, 0}, 0, VT_I4, 4, 1},
              // Nothing delivered once: the rest is taken as not there either.
              {"0001 02000000 00000000", S_OK, none, 10, {9, 9}, kOn, -1, 3, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.hex << " " << row.shortRead);
    const auto vector = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP, 2, kOn);
    vector->Fill(9);
    vector->put_ElementTag(0, Number(1));
    const auto inner = NewStream(row.hex);
    FaultStream stream(inner.Get());
    if (row.shortRead) stream.ShortenAt(StreamCall::kRead, row.shortRead, row.shortBytes);
    TakeErrorText();
    EXPECT_EQ(Load(vector, &stream), row.result);
    EXPECT_EQ(TakeErrorText(), row.text);
    EXPECT_EQ(PositionOf(inner.Get()), row.position);
    EXPECT_EQ(ValuesOf(vector), row.values);
    VARIANT_BOOL hasTags = 9;
    vector->get_HasElementTags(&hasTags);
    EXPECT_EQ(hasTags, row.hasTags);
    vector->put_HasElementTags(kOn);
    EXPECT_EQ(TagTypesOf(vector).front(), row.firstTag);
    EXPECT_EQ(vector->put_Count(2), S_OK);
    EXPECT_EQ(vector->put_Value(1, 3), S_OK);
  }
  // Elements of more bytes, cut inside one.
  const auto longs = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP, 2);
  longs->Fill(0x01010101);
  EXPECT_EQ(LoadFrom(longs, "0001 03000000 05"), S_OK);
  EXPECT_THAT(ValuesOf(longs), ElementsAre(0x01010105, 0x01010101, 0));
}

TEST_F(VectorStreams, Load_StopsReadingWhereNothingComesAnyMore) {
  for (const char* hex :
       {"0001 00000002 01", "0001 00000000 00000002 0300", "0301 00000000 FFFF 00000002 0300"}) {
    const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
    const auto memory = NewStream(hex);
    FaultStream stream(memory.Get());
    EXPECT_THAT(Load(vector, &stream), AnyOf(S_OK, E_FAIL));
    EXPECT_LE(stream.Calls(StreamCall::kEvery), 70u * 3);
  }
  // A stream at its end clears the elements that were there, one that fails leaves them alone.
  for (const bool fails : {false, true}) {
    const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 1000);
    vector->Fill(1);
    const auto memory = NewStream("0301 E8030000 0000 0300 0300 07000000");
    FaultStream stream(memory.Get());
    if (fails) stream.FailFrom(StreamCall::kRead, 7, kFull);
    DebugCapture debug;
    EXPECT_EQ(Load(vector, &stream), S_OK);
    EXPECT_EQ(debug.Texts().size(), 64u);
    VARIANT* data = DataOf(vector);
    EXPECT_EQ(data[0].lVal, 7);
    for (const int i : {1, 65, 999}) EXPECT_EQ(data[i].vt, fails ? VT_R8 : VT_EMPTY);
  }
}

// One letter for the result of a load of the first 0, 1, 2, ... bytes.
TEST_F(VectorStreams, Load_StreamCutAtEveryByte) {
  const auto times = [](std::size_t n, char c) { return std::string(n, c); };
  const struct {
    const char* hex;
    std::string expected;
  } rows[] = {
      {"0301 02000000 FFFF 01000000 02000000 02000000 0300 0300 05000000 0800 0800 06000000 6100 "
       "6200 0000",
       "VVS" + times(13, 'i') + times(27, 'S')},
      {"0201 02000000 FFFF 01000000 02000000 02000000 0300 05000000 0800 06000000 6100 6200 0000",
       "VVS" + times(13, 'i') + "S" + times(21, 'F') + "S"},
      {"0101 02000000 FFFF 01000000 02000000 02000000 0300 05000000 0800 06000000 6100 6200 0000",
       "VVS" + times(13, 'I') + "S" + times(21, 'F') + "S"},
      {"0001 02000000 01000000 02000000 02000000 0300 05000000 0800 06000000 6100 6200 0000",
       "VV" + times(13, 'S') + times(21, 'F') + "S"}};
  for (const auto& row : rows) {
    const std::vector<BYTE> bytes = BytesOf(row.hex);
    std::string results;
    for (std::size_t cut = 0; cut <= bytes.size(); ++cut) {
      const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
      const HRESULT result = LoadFrom(vector, HexOf(bytes.data(), cut));
      const auto text = TakeErrorText();
      results += result == S_OK                             ? 'S'
                 : result == E_FAIL                         ? 'F'
                 : result == kBadVersion                    ? 'V'
                 : result == kReported && text == kShort    ? 'i'
                 : result == kReported && text == kShortRaw ? 'I'
                                                            : '?';
      // What was not delivered is zero.
      for (const double value : ValuesOf(vector)) EXPECT_LE(value, 2);
      EXPECT_EQ(vector->Clear(), S_OK);
    }
    EXPECT_EQ(results, row.expected);
  }
}

constexpr char kLoaded[] =
    "03 01 02 00 00 00 FF FF 01 00 00 00 02 00 00 00 02 00 00 00 "
    "03 00 03 00 05 00 00 00 08 00 08 00 06 00 00 00 61 00 62 00 00 00";

TEST_F(VectorStreams, Save_StreamFailsAtEveryWrite) {
  const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
  ASSERT_EQ(LoadFrom(vector, kLoaded), S_OK);
  bool isOver = false;
  for (ULONG call = 1; !isOver; ++call) {
    for (const bool isShort : {false, true}) {
      SCOPED_TRACE(testing::Message() << call << (isShort ? " short" : " fails"));
      const auto memory = NewStream();
      FaultStream stream(memory.Get());
      stream.FailAt(StreamCall::kWrite, call, kFull);
      if (isShort) stream.ShortenAt(StreamCall::kWrite, call, 1);
      DebugCapture debug;
      TakeErrorText();
      const HRESULT result = Save(vector, &stream);
      const bool isBlock = call == 4;
      const bool isOwnField = call <= 3 || call == 5;
      isOver = stream.Calls(StreamCall::kWrite) < call;
      EXPECT_EQ(result, isBlock ? kReported : isOwnField && !isShort ? kFull : S_OK);
      EXPECT_EQ(TakeErrorText(), !isBlock  ? std::optional<Text>()
                                 : isShort ? kShort
                                           : Text(OLESTR("can't write vector to stream")));
      const bool isRecord = call > 5 && !isShort && !isOver;
      EXPECT_EQ(debug.Texts(), std::vector<std::string>(isRecord ? 1 : 0, kNotWritten));
      EXPECT_EQ(stream.References(), 0u);
      EXPECT_EQ(SavedBy(vector), kLoaded);
    }
  }
}

TEST_F(VectorStreams, Load_StreamFailsAtEveryRead) {
  bool isOver = false;
  for (ULONG call = 1; !isOver; ++call) {
    SCOPED_TRACE(call);
    const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
    const auto memory = NewStream(kLoaded);
    FaultStream stream(memory.Get());
    stream.FailAt(StreamCall::kRead, call, kFull);
    DebugCapture debug;
    TakeErrorText();
    const HRESULT result = Load(vector, &stream);
    isOver = stream.Calls(StreamCall::kRead) < call;
    EXPECT_EQ(result, call == 4 ? kReported : call <= 5 ? kFull : S_OK);
    EXPECT_EQ(TakeErrorText(),
              call == 4 ? Text(OLESTR("can't read vector to stream")) : std::optional<Text>());
    const auto texts = debug.Texts();
    EXPECT_EQ(texts.empty(), call <= 5 || isOver);
    for (const std::string& text : texts) EXPECT_EQ(text, kNotRead);
    EXPECT_EQ(stream.References(), 0u);
    EXPECT_EQ(CountOf(vector), call <= 3 ? 0 : 2);
    ASSERT_EQ(LoadFrom(vector, kLoaded), S_OK);
    EXPECT_EQ(SavedBy(vector), kLoaded);
  }
}

TEST_F(VectorStreams, RawImages_AreTakenOnlyWithoutPointers) {
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP);
  for (int vt = 0; vt <= 0xFFFF; vt = vt < 80 ? vt + 1 : vt * 2 + 3) {
    SCOPED_TRACE(vt);
    vector->put_Count(2);
    vector->put_Value(0, NewValue());
    vector->put_Value(1, NewValue());
    const BYTE type[] = {static_cast<BYTE>(vt), static_cast<BYTE>(vt >> 8)};
    EXPECT_EQ(LoadFrom(vector, "0101 01000000 0000" + HexOf(type, 2) +
                                   "000000000000 4141414141414141 4242424242424242"),
              S_OK);
    EXPECT_EQ(script_.objects, 0);
    VARIANT* data = DataOf(vector);
    const bool isPlain = vt <= 7 || vt == 10 || vt == 11 || vt == 14 || (vt >= 16 && vt <= 23);
    EXPECT_EQ(data[0].vt, isPlain ? vt : 0);
    EXPECT_EQ(data[0].llVal, isPlain ? 0x4141414141414141 : 0);
  }
  // Cut inside the second image.
  vector->put_Count(2);
  vector->put_Value(1, TextValue(OLESTR("a")));
  EXPECT_EQ(LoadFrom(vector,
                     "0101 02000000 0000 0300 000000000000 0500000000000000 "
                     "0000000000000000 0300"),
            kReported);
  EXPECT_EQ(TakeErrorText(), kShortRaw);
  VARIANT* data = DataOf(vector);
  EXPECT_TRUE(data[0].vt == VT_I4 && data[0].lVal == 5);
  EXPECT_EQ(data[1].vt, VT_BSTR);
}

TEST_F(VectorStreams, RecordsThatFail_ArePassedOverInTheDebugOutput) {
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 3);
  vector->put_Value(0, Number(0));
  vector->put_Value(1, Bits(VT_NULL, 0));
  vector->put_Value(2, Number(2));
  DebugCapture debug;
  const std::string saved = SavedBy(vector);
  EXPECT_EQ(saved,
            "03 01 03 00 00 00 00 00 03 00 03 00 00 00 00 00 01 00 01 00 03 00 03 00 02 00 00 00");
  EXPECT_EQ(SizeOf(vector), (saved.size() + 1) / 3);
  EXPECT_THAT(debug.Texts(), ElementsAre(kNotWritten, kNotWritten));  // written, then counted
  debug.Clear();
  // The second record takes what follows for a text that is too long, and the stream goes back to
  // its second type word: there the third one begins.
  EXPECT_EQ(LoadFrom(vector, saved), S_OK);
  EXPECT_THAT(debug.Texts(), ElementsAre(kNotRead));
  VARIANT* data = DataOf(vector);
  EXPECT_TRUE(data[0].vt == VT_I4 && data[1].vt == VT_EMPTY && data[2].vt == VT_I4);
  EXPECT_EQ(data[2].lVal, 0x20003);
  // But for one without memory.
  EXPECT_EQ(LoadFrom(vector,
                     std::string("0201 01000000 0000 0D00 ") + kTestClassHex + "0000000000000040"),
            kReported);
  EXPECT_EQ(TakeErrorText(), OLESTR("bad allocation"));
  // In the older versions a failing record ends the load.
  EXPECT_EQ(LoadFrom(vector, "0001 02000000 0800 01000000 0200 0300 00000000"), E_FAIL);
  // What no stream of values can copy is raised, and comes out as its code.
  vector->put_Count(1);
  data = DataOf(vector);
  data[0].vt = 15;
  EXPECT_EQ(Save(vector, NewStream().Get()), kBadType);
  ULARGE_INTEGER size{};
  EXPECT_EQ(vector.As<IPersistStream>()->GetSizeMax(&size), kBadType);
  data[0].vt = VT_EMPTY;
}

// The bytes go out of the live array in one call, and into it.
TEST_F(VectorStreams, NumbersMoveInOneCallWithoutACopy) {
  const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP, 100000);
  const auto memory = NewStream();
  FaultStream stream(memory.Get());
  stream.onCall = [&] {
    if (stream.Calls(StreamCall::kEvery) == 3) vector->Fill(9);
  };
  EXPECT_EQ(Save(vector, &stream), S_OK);
  EXPECT_EQ(stream.Calls(StreamCall::kWrite), 4u);
  stream.Reset();
  SeekTo(memory.Get(), 0);
  const auto copy = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
  EXPECT_EQ(Load(copy, &stream), S_OK);
  EXPECT_EQ(stream.Calls(StreamCall::kRead), 4u);
  EXPECT_EQ(ValuesOf(copy), std::vector<double>(100000, 9));
}

// Streams that change the vector while they have the address of its elements.
TEST_F(VectorStreams, StreamsMayChangeTheVectorMeanwhile) {
  std::string block;
  for (int i = 0; i < 1000; ++i) block += "01020304";
  for (const char* head :
       {"", "0001 E8030000", "0101 E8030000 FFFF", "0201 E8030000 FFFF", "0301 E8030000 0000"}) {
    for (const LONG newCount : {0, 1, 300000}) {
      for (ULONG callToChangeIn = 1; callToChangeIn < 12; ++callToChangeIn) {
        SCOPED_TRACE(testing::Message() << head << " " << newCount << " " << callToChangeIn);
        const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP, 1000, kOn);
        const auto inner = NewStream(head + block + "00000000");
        FaultStream stream(inner.Get());
        stream.onCall = [&] {
          if (stream.Calls(StreamCall::kEvery) + 1 == callToChangeIn) vector->ResizeAll(newCount);
        };
        EXPECT_EQ(*head ? Load(vector, &stream) : Save(vector, &stream), S_OK);
        EXPECT_EQ(vector->put_Count(3), S_OK);
        EXPECT_EQ(vector->Clear(), S_OK);
      }
    }
  }
}

}  // namespace
}  // namespace tests
