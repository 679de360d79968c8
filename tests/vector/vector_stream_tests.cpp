// The stream of a vector: its bytes, its four versions, and streams that fail, end or lie.
#include <fstream>
#include <iterator>

#include "tests/support/fault_stream.h"
#include "tests/vector/vector_test.h"

namespace tests {

namespace {

using VectorStreams = VectorTest;
using testing::AnyOf;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr char kNotWritten[] = "ReadFromStream()->can't write element\r\n";
constexpr char kNotRead[] = "ReadFromStream()->can't read element\r\n";
const Text kShort = OLESTR("insufficient file size");
const Text kShortRaw = OLESTR("Insufficient file size");

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
  variants->put_Value(1, Text_(OLESTR("ab")));
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
  } kinds[] = {
      {{0, 127, 255}, "00 7F FF"},
      {{-128, -1, 127}, "80 FF 7F"},
      {{0, 258, 65535}, "00 00 02 01 FF FF"},
      {{-32768, 258, 32767}, "00 80 02 01 FF 7F"},
      {{0, 16909060, 4294967295}, "00 00 00 00 04 03 02 01 FF FF FF FF"},
      {{-2147483648.0, 16909060, 2147483647}, "00 00 00 80 04 03 02 01 FF FF FF 7F"},
      {{-1.5, HUGE_VAL, 0.25}, "00 00 C0 BF 00 00 80 7F 00 00 80 3E"},
      {{-1.5, HUGE_VAL, 0.1},
       "00 00 00 00 00 00 F8 BF 00 00 00 00 00 00 F0 7F 9A 99 99 99 99 99 B9 3F"},
      {{2.5, 7, 65535},
       "05 00 05 00 00 00 00 00 00 00 04 40 03 00 03 00 07 00 00 00 0B 00 0B 00 FF FF"},
  };
  const std::string kTags =
      "03 00 00 00 03 00 03 00 05 00 00 00 08 00 08 00 06 00 00 00 61 00 62 00 00 00 "
      "00 00 00 00 02 00 00 00 00 00";
  for (std::size_t i = 0; i < std::size(kinds); ++i) {
    for (const char* version : {"0100", "0101", "0102", "0103"}) {
      SCOPED_TRACE(testing::Message() << kKinds[i].name << " " << version);
      std::ifstream file(
          std::string(RASTEL_TEST_VECTORS "/") + kKinds[i].name + "_" + version + ".vec",
          std::ios::binary);
      const std::string bytes{std::istreambuf_iterator<char>(file), {}};
      ASSERT_FALSE(bytes.empty());
      // Over what it held before, and with tags the other way.
      const bool isOldest = std::string_view(version) == "0100";
      const auto vector = NewVector<IVectorKLP>(*kKinds[i].classId, 5);
      if (!isOldest) vector->put_HasElementTags(2);
      const auto stream = NewStream(HexOf(bytes.data(), bytes.size()));
      ASSERT_EQ(vector.As<IPersistStreamInit>()->Load(stream.Get()), S_OK);
      EXPECT_EQ(PositionOf(stream.Get()), bytes.size());
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
      EXPECT_EQ(SavedBy(vector), head + "FF FF " + kinds[i].saved + " " + kTags);
    }
  }
}

TEST_F(VectorStreams, Load_TellsWhatIsWrongWithAStream) {
  const struct {
    const char* hex;
    HRESULT result;
    std::optional<Text> text;
    ULONGLONG position;
    LONG count;
    VARIANT_BOOL hasTags = 0;
    int firstTag = VT_I4;  // as it was before
  } rows[] = {
      {"0401 01000000", kBadVersion,
       Text(OLESTR("Rasteldata: Ung\u00FCltige Stream-Versionsnummer beim Lesen eines Vektors")), 2,
       1, kOn},
      {"FF00 01000000", kBadVersion,
       Text(OLESTR("Rasteldata: Ung\u00FCltige Stream-Versionsnummer beim Lesen eines Vektors")), 2,
       1, kOn},
      {"0301 03000000 0000 0102", kReported, kShort, 10, 3},
      {"0201 03000000 0000 0102", kReported, kShort, 10, 3},
      {"0101 03000000 0000 0102", kReported, kShortRaw, 10, 3},
      {"0301 FFFFFFFF 0200", kMemory, {}, 8, 1, 2},
      {"0201 FFFFFFFF 0000", kMemory, {}, 8, 1},
      {"0101 00000080 0000", kMemory, {}, 8, 1},
      {"0001 FFFFFFFF 0000", kMemory, {}, 6, 1, kOn},
      {"0301 01000000 FFFF 05 FFFFFFFF", kReported, Text(OLESTR("vector too long")), 13, 1, kOn},
      {"0201 01000000 FFFF 05 FFFFFFFF", kMemory, {}, 13, 1, kOn},
      {"0101 01000000 FFFF 05 FFFFFFFF", kMemory, {}, 13, 1, kOn},
      {"0001 01000000 05 FFFFFFFF", kMemory, {}, 11, 1, kOn},
      // A flag of 1 clears the tags; what follows is not read.
      {"0301 01000000 0100 05 01000000", S_OK, {}, 9, 1, 1, VT_EMPTY},
      {"0201 01000000 0000 05 01000000", S_OK, {}, 9, 1, 0, VT_EMPTY},
      // A failing tag ends the load in the older versions only.
      {"0201 00000000 FFFF 01000000 03", E_FAIL, {}, 13, 0, kOn, VT_EMPTY},
      {"0301 00000000 FFFF 01000000 03", S_OK, {}, 13, 0, kOn, VT_EMPTY},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.hex);
    const auto vector = NewVector<IByteVectorKLP>(CLSID_ByteVectorKLP, 1, kOn);
    vector->put_ElementTag(0, Bits(VT_I4, 1));
    const auto stream = NewStream(row.hex);
    TakeErrorText();
    EXPECT_EQ(vector.As<IPersistStream>()->Load(stream.Get()), row.result);
    EXPECT_EQ(TakeErrorText(), row.text);
    EXPECT_EQ(PositionOf(stream.Get()), row.position);
    EXPECT_EQ(CountOf(vector), row.count);
    VARIANT_BOOL hasTags = 9;
    vector->get_HasElementTags(&hasTags);
    EXPECT_EQ(hasTags, row.hasTags);
    vector->put_HasElementTags(kOn);
    EXPECT_EQ(TagTypesOf(vector).front(), row.firstTag);
    EXPECT_EQ(vector->put_Count(2), S_OK);
    EXPECT_EQ(vector->put_Value(1, 3), S_OK);
  }
}

// A short stream may state any count: it is had, or refused.
TEST_F(VectorStreams, Load_SurvivesHugeCounts) {
  for (const Kind& kind : kKinds) {
    for (const char* hex : {"0001 FFFFFF7F 01", "0101 FFFFFF7F 0000 01", "0201 FFFFFF7F 0000 01",
                            "0301 FFFFFF7F FFFF 01", "0301 00000000 FFFF FFFFFF7F 0300",
                            "0001 00000000 FFFFFF7F 0300", "0101 00000000 FFFF FFFFFF7F"}) {
      SCOPED_TRACE(testing::Message() << kind.name << " " << hex);
      const auto vector = NewVector<IVectorKLP>(*kind.classId);
      EXPECT_THAT(LoadFrom(vector, hex), AnyOf(S_OK, kReported, kMemory, E_FAIL));
      EXPECT_EQ(vector->put_HasElementTags(0), S_OK);
      EXPECT_EQ(vector->put_Count(1), S_OK);
      EXPECT_EQ(vector->put_Value(0, 1), S_OK);
    }
  }
}

TEST_F(VectorStreams, Load_StopsReadingWhereNothingComesAnyMore) {
  for (const char* hex :
       {"0001 00000002 01", "0001 00000000 00000002 0300", "0301 00000000 FFFF 00000002 0300"}) {
    const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
    const auto memory = NewStream(hex);
    FaultStream stream(memory.Get());
    EXPECT_THAT(vector.As<IPersistStream>()->Load(&stream), AnyOf(S_OK, E_FAIL));
    EXPECT_LE(stream.Calls(StreamCall::kEvery), 70u * 3);
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
       "VV" + times(13, 'S') + times(21, 'F') + "S"},
  };
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
  const auto persist = vector.As<IPersistStream>();
  bool isOver = false;
  for (ULONG call = 1; !isOver; ++call) {
    for (const bool isShort : {false, true}) {
      SCOPED_TRACE(testing::Message() << call << (isShort ? " short" : " fails"));
      const auto memory = NewStream();
      FaultStream stream(memory.Get());
      if (isShort) {
        stream.ShortenAt(StreamCall::kWrite, call, 1);
      } else {
        stream.FailAt(StreamCall::kWrite, call, kFull);
      }
      DebugCapture debug;
      TakeErrorText();
      const HRESULT result = persist->Save(&stream, FALSE);
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
    const HRESULT result = vector.As<IPersistStream>()->Load(&stream);
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

TEST_F(VectorStreams, Load_ShortReadsGoUnnoticedOrAreTold) {
  const char* const older = "01 02000000 FFFF 01000000 02000000 01000000 0300 05000000";
  const struct {
    std::string hex;
    ULONG call, bytes;
    HRESULT result;
    std::vector<double> values;
  } rows[] = {
      {kLoaded, 4, 5, kReported, {1, 2}},
      {std::string("01") + older, 4, 3, kReported, {1, 0}},
      {std::string("02") + older, 4, 0, kReported, {0, 0}},
      {"0001 02000000 01 05060708 00000000", 3, 1, S_OK, {1, 134678021}},
      // Nothing delivered once: the rest is taken as not there either.
      {"0001 02000000 00000000", 3, 0, S_OK, {0, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.hex);
    const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
    const auto memory = NewStream(row.hex);
    FaultStream stream(memory.Get());
    stream.ShortenAt(StreamCall::kRead, row.call, row.bytes);
    EXPECT_EQ(vector.As<IPersistStream>()->Load(&stream), row.result);
    EXPECT_EQ(ValuesOf(vector), row.values);
  }
  // Elements that were there before keep what was not delivered.
  const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP, 2);
  vector->Fill(9);
  EXPECT_EQ(LoadFrom(vector, "0301 03000000 0000 01000000"), kReported);
  EXPECT_THAT(ValuesOf(vector), ElementsAre(1, 9, 0));
  vector->Fill(0x01010101);
  EXPECT_EQ(LoadFrom(vector, "0001 03000000 05"), S_OK);
  EXPECT_THAT(ValuesOf(vector), ElementsAre(0x01010105, 0x01010101, 0x01010101));
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
    LONG count = 0;
    VARIANT* data = nullptr;
    vector->GetPointer(&count, &data);
    const bool isPlain = vt <= 7 || vt == 10 || vt == 11 || vt == 14 || (vt >= 16 && vt <= 23);
    EXPECT_EQ(data[0].vt, isPlain ? vt : 0);
    EXPECT_EQ(data[0].llVal, isPlain ? 0x4141414141414141 : 0);
  }
  // Cut inside the second image.
  vector->put_Count(2);
  vector->put_Value(1, Text_(OLESTR("a")));
  EXPECT_EQ(LoadFrom(vector,
                     "0101 02000000 0000 0300 000000000000 0500000000000000 "
                     "0000000000000000 0300"),
            kReported);
  EXPECT_EQ(TakeErrorText(), kShortRaw);
  LONG count = 0;
  VARIANT* data = nullptr;
  vector->GetPointer(&count, &data);
  EXPECT_TRUE(data[0].vt == VT_I4 && data[0].lVal == 5);
  EXPECT_EQ(data[1].vt, VT_BSTR);
}

TEST_F(VectorStreams, RecordsThatFail_ArePassedOverInTheDebugOutput) {
  const auto vector = NewVector<IVariantVectorKLP>(CLSID_VariantVectorKLP, 2);
  vector->put_Value(0, Bits(VT_NULL, 0));
  vector->put_Value(1, Bits(VT_I2, 3));
  {
    DebugCapture debug;
    EXPECT_EQ(SavedBy(vector), "03 01 02 00 00 00 00 00 01 00 01 00 02 00 02 00 03 00");
    EXPECT_THAT(debug.Texts(), ElementsAre(kNotWritten, kNotWritten));  // counted, then written
  }
  // In the older versions a failing record ends the load.
  DebugCapture debug;
  EXPECT_EQ(LoadFrom(vector, "0301 02000000 0000 0800 0800 01000000 0200 0200 0300"), S_OK);
  EXPECT_FALSE(debug.Texts().empty());
  EXPECT_EQ(LoadFrom(vector, "0001 02000000 0800 01000000 0200 0300 00000000"), E_FAIL);
  // What no stream of values can copy is raised, and comes out as its code.
  LONG count = 0;
  VARIANT* data = nullptr;
  vector->put_Count(1);
  vector->GetPointer(&count, &data);
  data[0].vt = 15;
  EXPECT_EQ(vector.As<IPersistStream>()->Save(NewStream().Get(), FALSE), kBadType);
  ULARGE_INTEGER size{};
  EXPECT_EQ(vector.As<IPersistStream>()->GetSizeMax(&size), kBadType);
  data[0].vt = VT_EMPTY;
}

// The bytes go out of the live array in one call, and into it.
TEST_F(VectorStreams, NumbersMoveInOneCallWithoutACopy) {
  const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP, 100000);
  const auto persist = vector.As<IPersistStream>();
  const auto memory = NewStream();
  FaultStream stream(memory.Get());
  stream.onCall = [&] {
    if (stream.Calls(StreamCall::kEvery) == 3) vector->Fill(9);
  };
  EXPECT_EQ(persist->Save(&stream, FALSE), S_OK);
  EXPECT_EQ(stream.Calls(StreamCall::kWrite), 4u);
  stream.Reset();
  SeekTo(memory.Get(), 0);
  const auto copy = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP);
  EXPECT_EQ(copy.As<IPersistStream>()->Load(&stream), S_OK);
  EXPECT_EQ(stream.Calls(StreamCall::kRead), 4u);
  EXPECT_EQ(ValuesOf(copy), std::vector<double>(100000, 9));
}

// Streams that change the vector while they have the address of its elements.
TEST_F(VectorStreams, StreamsMayChangeTheVectorMeanwhile) {
  std::string block;
  for (int i = 0; i < 1000; ++i) block += "01020304";
  for (const LONG newCount : {0, 1, 300000}) {
    for (ULONG callToChangeIn = 1; callToChangeIn < 12; ++callToChangeIn) {
      const auto vector = NewVector<ILongVectorKLP>(CLSID_LongVectorKLP, 1000, kOn);
      const auto persist = vector.As<IPersistStream>();
      const auto run = [&](IStream* inner, auto operation) {
        FaultStream stream(inner);
        stream.onCall = [&] {
          if (stream.Calls(StreamCall::kEvery) + 1 == callToChangeIn) vector->ResizeAll(newCount);
        };
        EXPECT_EQ(operation(&stream), S_OK);
        EXPECT_EQ(vector->put_Count(3), S_OK);
        EXPECT_EQ(vector->Clear(), S_OK);
      };
      run(NewStream().Get(), [&](IStream* stream) { return persist->Save(stream, FALSE); });
      for (const char* head :
           {"0001 E8030000", "0101 E8030000 FFFF", "0201 E8030000 FFFF", "0301 E8030000 0000"}) {
        SCOPED_TRACE(testing::Message() << newCount << " " << callToChangeIn << " " << head);
        run(NewStream(head + block + "00000000").Get(),
            [&](IStream* stream) { return persist->Load(stream); });
      }
    }
  }
}

}  // namespace
}  // namespace tests
