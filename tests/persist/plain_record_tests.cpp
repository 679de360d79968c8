// Plain records of every type, and what is left when one fails.
#include "module/persist/plain_records.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <list>

#include "tests/persist/record_values.h"
#include "tests/persist/test_object.h"
#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

using platform::ComPtr;
using platform::ResultCode;
using rastel::CComVariant;
using rastel::ReadPlainVariant;
using rastel::WritePlainVariant;
using Text = std::basic_string<OLECHAR>;

constexpr HRESULT kFull = ResultCode(0x80030070u);
constexpr HRESULT kMismatch = ResultCode(0x80020005u);
constexpr HRESULT kBadType = ResultCode(0x80020008u);

struct Written {
  HRESULT result;
  std::string hex;
};
Written Write(const VARIANT& value) {
  const ComPtr<IStream> stream = NewStream();
  const HRESULT result = WritePlainVariant(value, stream.Get());
  return {result, ContentOf(stream.Get())};
}

TEST(PlainRecords, HoldEveryFixedType) {
  for (const RecordRow& row : kFixedRecords) {
    SCOPED_TRACE(row.plain);
    const Written written = Write(FixedValue(row));
    EXPECT_EQ(written.result, S_OK);
    EXPECT_EQ(written.hex, row.plain);
    // Tagged, the type stands there twice.
    const std::string tagged = std::string(row.plain, 5) + " " + row.plain;
    const ComPtr<IStream> taggedStream = NewStream();
    EXPECT_EQ(rastel::WriteToStream(taggedStream.Get(), FixedValue(row)), S_OK);
    EXPECT_EQ(ContentOf(taggedStream.Get()), tagged);
    EXPECT_EQ(rastel::GetVariantStreamSize(FixedValue(row)), BytesOf(tagged).size());
    CComVariant value = TextValue(OLESTR("old"), 3), fromTagged = TextValue(OLESTR("old"), 3);
    EXPECT_EQ(ReadPlainVariant(value, NewStream(row.plain).Get()), S_OK);
    EXPECT_EQ(rastel::ReadFromStream(NewStream(tagged).Get(), fromTagged), S_OK);
    EXPECT_TRUE(value.vt == row.vt && fromTagged.vt == row.vt);
    EXPECT_TRUE(value.ullVal == row.bits && fromTagged.ullVal == row.bits);
    // What a short read does not deliver is zero.
    const ComPtr<IStream> shortStream = NewStream(std::string(row.plain, 8));
    EXPECT_EQ(ReadPlainVariant(value, shortStream.Get()), S_OK);
    EXPECT_EQ(value.ullVal, row.bits & 0xFF);
  }
}

TEST(PlainRecords, HoldEverythingElseAsText) {
  SHORT referenced = 7;
  BSTR nullText = nullptr;
  CComVariant number;
  number.vt = VT_DECIMAL;
  number.decVal.scale = 2;
  number.decVal.Lo64 = 150;
  number.vt = VT_DECIMAL;
  CComVariant shortReference, textReference, nullTextValue, oddText;
  shortReference.vt = VT_BYREF | VT_I2;
  shortReference.piVal = &referenced;
  textReference.vt = VT_BYREF | VT_BSTR;
  textReference.pbstrVal = &nullText;
  nullTextValue.vt = VT_BSTR;
  oddText.vt = VT_BSTR;
  oddText.bstrVal = SysAllocStringByteLen("abc", 3);
  const struct {
    CComVariant value;
    const char* hex;
    HRESULT read;
    VARTYPE readType;
  } rows[] = {
      {CComVariant(), "00 00 02 00 00 00 00 00", S_OK, VT_EMPTY},
      {TextValue(OLESTR("ab"), 2), "08 00 06 00 00 00 61 00 62 00 00 00", S_OK, VT_BSTR},
      {TextValue(OLESTR("a\0b"), 3), "08 00 08 00 00 00 61 00 00 00 62 00 00 00", S_OK, VT_BSTR},
      {TextValue(OLESTR(""), 0), "08 00 02 00 00 00 00 00", S_OK, VT_BSTR},
      {std::move(oddText), "08 00 05 00 00 00 61 62 63 00 00", S_OK, VT_BSTR},
      {std::move(nullTextValue), "08 00 00 00 00 00", S_OK, VT_BSTR},
      {std::move(number), "0E 00 08 00 00 00 31 00 2E 00 35 00 00 00", S_OK, VT_DECIMAL},
      {std::move(shortReference), "02 40 04 00 00 00 37 00 00 00", kMismatch, VT_BSTR},
      {std::move(textReference), "08 40 02 00 00 00 00 00", kMismatch, VT_BSTR}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.hex);
    const Written written = Write(row.value);
    EXPECT_EQ(written.result, S_OK);
    EXPECT_EQ(written.hex, row.hex);
    const ComPtr<IStream> stream = NewStream(row.hex);
    CComVariant value;
    EXPECT_EQ(ReadPlainVariant(value, stream.Get()), row.read);
    EXPECT_EQ(value.vt, row.readType);
    EXPECT_EQ(PositionOf(stream.Get()), BytesOf(row.hex).size());
    if (row.value.vt == VT_BSTR) {
      EXPECT_EQ(SysStringByteLen(value.bstrVal), SysStringByteLen(row.value.bstrVal));
      EXPECT_EQ(value.bstrVal == nullptr, row.value.bstrVal == nullptr);
    }
  }
}

TEST(PlainRecords, WithoutATextEndBehindTheType) {
  VARIANT inner{};
  for (const int type : {int{VT_NULL}, int{VT_VARIANT}, int{VT_ARRAY}, VT_ARRAY | VT_UI1,
                         VT_ARRAY | VT_VARIANT, VT_ARRAY | VT_BYREF | VT_UI1,
                         VT_BYREF | VT_DISPATCH, 15, 24, VT_VECTOR | VT_I4, 0x8000 | VT_I4}) {
    SCOPED_TRACE(type);
    VARIANT value{};
    value.vt = static_cast<VARTYPE>(type);
    if ((type & VT_BYREF) != 0) value.byref = &inner.llVal;
    const bool isType = type != 15 && type != 24 && (type & (VT_VECTOR | 0x8000)) == 0;
    const Written written = Write(value);
    EXPECT_EQ(written.result, isType ? kMismatch : kBadType);
    EXPECT_EQ(written.hex, HexOf(&value.vt, 2));
  }
  EXPECT_EQ(WritePlainVariant(inner, nullptr), E_INVALIDARG);
}

// A record of every type there is, with the payload 04 00 00 00 37 00 00 00 for the text "7".
TEST(PlainRecords, OfEveryTypeWord_LeaveAValueThatCanBeCleared) {
  const ComPtr<IStream> stream = NewStream("00 00 04 00 00 00 37 00 00 00 00 00 00 00 00 00 00 00");
  for (int word = 0; word <= 0xFFFF; ++word) {
    const VARTYPE vt = static_cast<VARTYPE>(word);
    SeekTo(stream.Get(), 0);
    stream->Write(&vt, sizeof(vt), nullptr);
    SeekTo(stream.Get(), 0);
    CComVariant value;
    const HRESULT result = ReadPlainVariant(value, stream.Get());
    const bool isFixed = std::any_of(std::begin(kFixedRecords), std::end(kFixedRecords),
                                     [&](const RecordRow& row) { return row.vt == vt; });
    CComVariant converted = TextValue(OLESTR("7"), 1);
    HRESULT expected = S_OK;
    VARTYPE expectedType = vt;
    if (!isFixed && !rastel::IsObjectType(vt) && vt != VT_BSTR) {
      expected =
          (vt & VT_ARRAY) != 0 ? kMismatch : VariantChangeType(&converted, &converted, 0, vt);
      if (expected != S_OK) expectedType = VT_BSTR;
    }
    if (rastel::IsObjectType(vt)) {
      EXPECT_EQ(value.punkVal, nullptr);
    }
    ASSERT_EQ(result, expected) << word;
    ASSERT_EQ(value.vt, expectedType) << word;
    ASSERT_EQ(value.vt & (VT_ARRAY | VT_BYREF), 0) << word;
    ASSERT_EQ(VariantClear(&value), S_OK) << word;
  }
}

TEST(PlainRecords, TextLengths) {
  const std::string whole(std::size_t{0x100000 - 2} * 2, '1');
  const struct {
    const char* length;
    std::string rest;
    HRESULT expected;
    ULONGLONG position;
    UINT bytes;
  } rows[] = {{"00 00 00 00", "", S_OK, 6, 0},
              {"01 00 00 00", "00 00", E_FAIL, 0, 0},
              {"02 00 00 00", "00 00", S_OK, 8, 0},
              {"02 00 00 00", "00", E_FAIL, 0, 0},
              {"02 00 00 00", "00 01", E_FAIL, 0, 0},
              {"03 00 00 00", "61 00 00", S_OK, 9, 1},
              {"06 00 00 00", "61 00 62", E_FAIL, 0, 0},
              {"06 00 00 00", "61 00 62 00 63 00", E_FAIL, 0, 0},
              {"00 00 10 00", whole + "00 00", S_OK, 0x100006, 0xFFFFE},
              {"00 00 10 00", "61 00", E_FAIL, 0, 0},
              {"01 00 10 00", whole + "00 00 00", E_ACCESSDENIED, 0, 0},
              {"FF FF FF FF", "61 00 00 00", E_ACCESSDENIED, 0, 0},
              {"02 00", "", E_FAIL, 0, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const ComPtr<IStream> stream = NewStream(std::string("08 00") + row.length + row.rest);
    CComVariant value = TextValue(OLESTR("old"), 3);
    EXPECT_EQ(ReadPlainVariant(value, stream.Get()), row.expected);
    EXPECT_EQ(PositionOf(stream.Get()), row.position);
    EXPECT_EQ(value.vt, row.expected == S_OK ? VT_BSTR : VT_EMPTY);
    if (value.vt == VT_BSTR) {
      EXPECT_EQ(SysStringByteLen(value.bstrVal), row.bytes);
    }
  }
}

class PlainObjects : public ObjectTest {};

TEST_F(PlainObjects, AreTheClassAndTheirData) {
  const std::string record = std::string(kTestClassHex) + " A1 A2 A3";
  const std::string none = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
  const struct {
    const char* what;
    std::function<void(Script&)> change;
    HRESULT expected;
    std::string payload;
  } rows[] = {{"good", [](Script&) {}, S_OK, " " + record},
              {"init", [](Script& s) { s.query = kFull, s.queryInit = S_OK; }, S_OK, " " + record},
              {"neither", [](Script& s) { s.query = kFull; }, E_NOINTERFACE, ""},
              {"class", [](Script& s) { s.getClassId = kFull; }, kFull, ""},
              {"save", [](Script& s) { s.save = kFull; }, kFull, " " + record},
              {"S_FALSE", [](Script& s) { s.save = S_FALSE; }, S_FALSE, " " + record}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const CComVariant value = NewValue(VT_DISPATCH);
    Restart("A1 A2 A3");
    row.change(script_);
    const Written written = Write(value);
    EXPECT_EQ(written.result, row.expected);
    EXPECT_EQ(written.hex, "09 00" + row.payload);
  }
  CComVariant null;
  null.vt = VT_UNKNOWN;
  EXPECT_EQ(Write(null).hex, "0D 00 " + none);
  const std::list<rastel::NestedLevel> tooDeep(rastel::kMostNestingLevels);
  EXPECT_EQ(Write(NewValue()).result, E_ACCESSDENIED);
}

TEST_F(PlainObjects, Read_WithoutTheClass_GivesANullPointer) {
  const std::string unknown = "99 99 99 99 99 99 99 99 99 99 99 99 99 99 99 99";
  const std::string known = kTestClassHex;
  const struct {
    std::string record;
    HRESULT load, query, expected;
    bool hasObject;
    ULONGLONG position;
  } rows[] = {{"0D 00" + known + "A1 A2 A3", S_OK, S_OK, S_OK, true, 21},
              {"09 00" + known + "A1 A2 A3", S_OK, S_OK, S_OK, true, 21},
              {"09 00" + known + "A1 A2 A3", kFull, S_OK, kFull, false, 21},
              {"09 00" + known + "A1 A2 A3", REGDB_E_CLASSNOTREG, S_OK, S_OK, false, 21},
              {"0D 00" + known + "A1 A2 A3", S_OK, E_NOINTERFACE, E_NOINTERFACE, false, 18},
              {"0D 00" + unknown + "A1 A2 A3", S_OK, S_OK, S_OK, false, 18},
              {"09 00" + unknown + "A1 A2 A3", S_OK, S_OK, S_OK, false, 18},
              {"09 00" + std::string(32, '0'), S_OK, S_OK, S_OK, false, 18},
              {"09 00 99", S_OK, S_OK, ResultCode(0x8003001Eu), false, 3}};
  Register();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.record);
    script_.data = "A1 A2 A3";
    script_.load = row.load;
    script_.query = row.query;
    const ComPtr<IStream> stream = NewStream(row.record);
    CComVariant value;
    EXPECT_EQ(ReadPlainVariant(value, stream.Get()), row.expected);
    EXPECT_EQ(value.vt, row.record[1] == 'D' ? VT_UNKNOWN : VT_DISPATCH);
    EXPECT_EQ(value.punkVal != nullptr, row.hasObject);
    EXPECT_EQ(script_.objects, row.hasObject ? 1 : 0);
    EXPECT_EQ(PositionOf(stream.Get()), row.position);
  }
}

// Each call of the stream fails once, or moves a byte less than asked.
TEST(PlainRecords, FaultsAtEveryStep) {
  enum class Fault { kFails, kShort, kSaysFalse };
  constexpr auto kText = "08 00 06 00 00 00 61 00 62 00 00 00";
  constexpr auto kLong = "03 00 05 00 00 00";
  const struct {
    const char* record;
    StreamCall kind;
    ULONG number;
    Fault fault;
    HRESULT expected;
    VARTYPE vt;
    ULONGLONG position;
  } rows[] = {{kText, StreamCall::kRead, 1, Fault::kFails, kFull, VT_EMPTY, 0},
              {kText, StreamCall::kRead, 1, Fault::kShort, E_FAIL, VT_EMPTY, 1},
              {kText, StreamCall::kSeek, 1, Fault::kFails, S_OK, VT_BSTR, 12},
              {kText, StreamCall::kRead, 2, Fault::kFails, kFull, VT_EMPTY, 0},
              {kText, StreamCall::kRead, 2, Fault::kShort, E_FAIL, VT_EMPTY, 0},
              {kText, StreamCall::kRead, 3, Fault::kFails, kFull, VT_EMPTY, 0},
              {kText, StreamCall::kRead, 3, Fault::kShort, E_FAIL, VT_EMPTY, 0},
              {kText, StreamCall::kRead, 4, Fault::kFails, kFull, VT_EMPTY, 0},
              {kText, StreamCall::kRead, 4, Fault::kShort, E_FAIL, VT_EMPTY, 0},
              {kLong, StreamCall::kRead, 2, Fault::kFails, kFull, VT_I4, 2},
              {kLong, StreamCall::kRead, 2, Fault::kShort, S_OK, VT_I4, 5},
              {kLong, StreamCall::kRead, 1, Fault::kSaysFalse, E_FAIL, VT_EMPTY, 2},
              {kLong, StreamCall::kRead, 2, Fault::kSaysFalse, E_FAIL, VT_I4, 6},
              {kText, StreamCall::kRead, 3, Fault::kSaysFalse, S_OK, VT_BSTR, 12}};
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const ComPtr<IStream> inner = NewStream(row.record);
    FaultStream stream(inner.Get());
    if (row.fault != Fault::kShort) {
      stream.FailAt(row.kind, row.number, row.fault == Fault::kFails ? kFull : S_FALSE);
    } else {
      stream.ShortenAt(row.kind, row.number, row.number == 1 || row.number == 4 ? 1 : 3);
    }
    CComVariant value = TextValue(OLESTR("old"), 3);
    EXPECT_EQ(ReadPlainVariant(value, &stream), row.expected);
    EXPECT_EQ(value.vt, row.vt);
    EXPECT_EQ(PositionOf(inner.Get()), row.position);
    EXPECT_EQ(stream.References(), 0u);

    // Where the start of the text is not known, only the two bytes of the type are taken back.
    const bool isText = row.record == kText;
    const ComPtr<IStream> cut = NewStream(std::string(row.record, 8));
    FaultStream lost(cut.Get());
    lost.FailAt(StreamCall::kSeek, 1, kFull);
    EXPECT_EQ(ReadPlainVariant(value, &lost), isText ? E_FAIL : S_OK);
    EXPECT_EQ(PositionOf(cut.Get()), isText ? 1u : 3u);
  }
  for (ULONG number = 1; number <= 3; ++number) {
    FaultStream stream(NewStream().Get());
    stream.FailAt(StreamCall::kWrite, number, kFull);
    EXPECT_EQ(WritePlainVariant(TextValue(OLESTR("ab"), 2), &stream), kFull);
    EXPECT_EQ(stream.Calls(StreamCall::kEvery), number);
  }
}

TEST(PlainRecords, TargetThatCannotBeCleared_IsLeftAndNothingIsRead) {
  CComVariant array;
  array.vt = VT_ARRAY | VT_I4;
  array.parray = SafeArrayCreateVector(VT_I4, 0, 1);
  SafeArrayLock(array.parray);
  const ComPtr<IStream> stream = NewStream("03 00 05 00 00 00");
  EXPECT_EQ(ReadPlainVariant(array, nullptr), E_INVALIDARG);
  EXPECT_EQ(ReadPlainVariant(array, stream.Get()), ResultCode(0x8002000Du));
  EXPECT_EQ(PositionOf(stream.Get()), 0u);
  EXPECT_EQ(array.vt, kEmbeddedHost ? VT_ARRAY | VT_I4 : VT_EMPTY);
  SafeArrayUnlock(array.parray);
}

}  // namespace
}  // namespace tests
