// Tagged records, objects of absent classes, and deep copies.
#include "module/persist/variant_records.h"

#include <gmock/gmock.h>

#include "module/persist/class_holder.h"
#include "tests/persist/record_values.h"
#include "tests/persist/test_object.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/debug_capture.h"
#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"

namespace tests {
namespace {

using platform::ComPtr;
using platform::ResultCode;
using rastel::CComVariant;
using rastel::ReadFromStream;
using rastel::WriteToStream;
using testing::ElementsAre;
using testing::ElementsAreArray;

constexpr HRESULT kFull = ResultCode(0x80030070u);
constexpr HRESULT kMismatch = ResultCode(0x80020005u);
constexpr HRESULT kBadType = ResultCode(0x80020008u);
constexpr HRESULT kMemory = ResultCode(0x8007000Eu);
constexpr char kNotSaved[] =
    "WriteToStream()->Object cannot be saved. saving CLSID_NULL instead!\n";
constexpr char kNotCreated[] =
    "ReadFromStream()->can't read object from stream. create instance failed.!\n";
constexpr char kGeneric[] = "\nReadFromStream()->using generic class.\n";
const std::string kClass = kTestClassHex;
const std::string kNullClass = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00";
const std::string kHolderRecord = "0D 00 " + kClass + " 03 00 00 00 00 00 00 00 A1 A2 A3";

template <class Body>
HRESULT RaisedByCopy(Body body) {
  try {
    body();
  } catch (const rastel::CAtlException& error) {
    return error;
  }
  return S_OK;
}

TEST(TaggedRecords, OfTextsAndOfWhatHasNone) {
  VARIANT nullText{}, null{}, array{}, invalid{};
  nullText.vt = VT_BSTR;
  null.vt = VT_NULL;
  array.vt = VT_ARRAY | VT_UI1;
  invalid.vt = 24;
  const CComVariant text = TextValue(OLESTR("ab"), 2);
  const struct {
    const VARIANT& value;
    HRESULT expected, raised;
    const char* tagged;
  } rows[] = {{VARIANT{}, S_OK, S_OK, "00 00 00 00 02 00 00 00 00 00"},
              {text, S_OK, S_OK, "08 00 08 00 06 00 00 00 61 00 62 00 00 00"},
              // The copy of a null text is an empty one.
              {nullText, S_OK, S_OK, "08 00 08 00 02 00 00 00 00 00"},
              {null, kMismatch, S_OK, "01 00 01 00"},
              {array, kMismatch, S_OK, "11 20 11 20"},
              {invalid, S_OK, kBadType, "18 00"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.tagged);
    const ComPtr<IStream> stream = NewStream();
    HRESULT result = S_OK;
    const auto write = [&] { result = WriteToStream(stream.Get(), row.value); };
    EXPECT_EQ(RaisedByCopy(write), row.raised);
    EXPECT_EQ(result, row.expected);
    EXPECT_EQ(ContentOf(stream.Get()), row.tagged);
  }
}

class TaggedObjects : public ObjectTest {
 protected:
  // Writes a new object, as the script has it, to a memory stream and to a counting stream.
  void Write(const std::function<void(Script&)>& change, VARTYPE vt = VT_UNKNOWN) {
    const CComVariant value = NewValue(vt);
    Restart("A1 A2 A3");
    change(script_);
    const ComPtr<IStream> stream = NewStream();
    raised = Raised([&] { result = WriteToStream(stream.Get(), value); });
    content = ContentOf(stream.Get());
    calls = std::exchange(script_.calls, "");
    rastel::CNullDeviceStream counter;
    Raised([&] { WriteToStream(&counter, value); });
    counted = counter.Count();
    countingCalls = script_.calls;
  }

  HRESULT result = S_OK, raised = S_OK;
  std::string content, calls, countingCalls;
  ULONGLONG counted = 0;
};

TEST_F(TaggedObjects, AreCountedAndThenSaved) {
  const std::string head = "0D 00 " + kClass;
  const std::string size = " 03 00 00 00 00 00 00 00";
  const struct {
    const char* what;
    std::function<void(Script&)> change;
    HRESULT expected, raised;
    std::string content;
    const char* calls;
    ULONGLONG counted;
  } rows[] = {
      {"good", [](Script&) {}, S_OK, S_OK, head + size + " A1 A2 A3", "cS", 29},
      {"class", [](Script& s) { s.getClassId = kFull; }, S_OK, S_OK, head + size + " A1 A2 A3",
       "cS", 29},
      {"count", [](Script& s) { s.countingSave = kFull; }, kFull, S_OK, head, "c", 18},
      {"count S_FALSE", [](Script& s) { s.countingSave = S_FALSE; }, S_FALSE, S_OK, head, "c", 18},
      {"save", [](Script& s) { s.save = kFull; }, kFull, S_OK, head + size + " A1 A2 A3", "cS", 29},
      {"save S_FALSE", [](Script& s) { s.save = S_FALSE; }, S_FALSE, S_OK,
       head + size + " A1 A2 A3", "cS", 29},
      {"none", [](Script& s) { s.query = E_NOINTERFACE; }, S_OK, S_OK, "0D 00 " + kNullClass, "",
       18},
      {"refuses", [](Script& s) { s.query = kFull; }, S_OK, kFull, "0D 00", "", 2}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    DebugCapture debug;
    result = S_OK;
    Write(row.change);
    EXPECT_EQ(result, row.expected);
    EXPECT_EQ(raised, row.raised);
    EXPECT_EQ(content, row.content);
    EXPECT_EQ(calls, row.calls);
    EXPECT_EQ(countingCalls, row.calls[0] != 0 ? "C" : "");
    EXPECT_EQ(counted, row.counted);
    const std::size_t told = row.what == std::string("none") ? 2 : 0;
    EXPECT_THAT(debug.Texts(), ElementsAreArray(std::vector<std::string>(told, kNotSaved)));
  }
  VARIANT null{};
  null.vt = VT_DISPATCH;
  const ComPtr<IStream> stream = NewStream();
  EXPECT_EQ(WriteToStream(stream.Get(), null), S_OK);
  EXPECT_EQ(ContentOf(stream.Get()), "09 00 " + kNullClass);
}

TEST_F(TaggedObjects, Write_PassesFailingWritesOn) {
  script_.data = "A1 A2 A3";
  const CComVariant value = NewValue();
  // The writes of the type, the class and the size; what the object makes of its own is up to it.
  for (ULONG number = 1; number <= 4; ++number) {
    FaultStream stream(NewStream().Get());
    stream.FailAt(StreamCall::kWrite, number, kFull);
    EXPECT_EQ(WriteToStream(&stream, value), number < 4 ? kFull : S_OK);
    EXPECT_EQ(stream.References(), 0u);
    // Also where there is no object to write.
    stream.FailAt(StreamCall::kWrite, stream.Calls(StreamCall::kWrite) + 2, kFull);
    script_.query = E_NOINTERFACE;
    EXPECT_EQ(WriteToStream(&stream, value), kFull);
    script_.query = S_OK;
  }
}

TEST_F(TaggedObjects, Read_MakesTheObject) {
  Register();
  const struct {
    const char* what;
    std::string record;
    std::function<void(Script&)> change;
    HRESULT expected, raised;
    VARTYPE vt;
    ULONGLONG position;
  } rows[] = {
      {"unknown", kHolderRecord, [](Script&) {}, S_OK, S_OK, VT_UNKNOWN, 29},
      {"dispatch", "09" + kHolderRecord.substr(2), [](Script&) {}, S_OK, S_OK, VT_UNKNOWN, 29},
      {"null", "0D 00" + kNullClass + "FF", [](Script&) {}, S_OK, S_OK, VT_EMPTY, 18},
      {"load", kHolderRecord, [](Script& s) { s.load = kFull; }, kFull, S_OK, VT_I4, 29},
      {"S_FALSE", kHolderRecord, [](Script& s) { s.load = S_FALSE; }, S_FALSE, S_OK, VT_I4, 29},
      {"none", kHolderRecord, [](Script& s) { s.query = E_NOINTERFACE; }, E_NOINTERFACE, S_OK,
       VT_I4, 26},
      {"refuses", kHolderRecord, [](Script& s) { s.query = kFull; }, S_OK, kFull, VT_I4, 26},
      {"cut class", "0D 00 10", [](Script&) {}, ResultCode(0x8003001Eu), S_OK, VT_I4, 3},
      {"cut type", "0D", [](Script&) {}, ResultCode(0x8003001Eu), S_OK, VT_I4, 1},
      {"no type", "", [](Script&) {}, E_FAIL, S_OK, VT_EMPTY, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Restart("A1 A2 A3");
    row.change(script_);
    const ComPtr<IStream> stream = NewStream(row.record);
    CComVariant value;
    value.vt = VT_I4;
    HRESULT result = S_OK;
    EXPECT_EQ(Raised([&] { result = ReadFromStream(stream.Get(), value); }), row.raised);
    EXPECT_EQ(result, row.expected);
    EXPECT_EQ(value.vt, row.vt);
    EXPECT_EQ(PositionOf(stream.Get()), row.position);
    EXPECT_EQ(script_.objects, row.vt == VT_UNKNOWN ? 1 : 0);
  }
}

TEST_F(TaggedObjects, Read_FailsAtEveryStep) {
  Register();
  script_.data = "A1 A2 A3";
  for (const bool isKnown : {true, false}) {
    if (!isKnown) Unregister();
    for (ULONG number = 1; number <= 3; ++number) {
      SCOPED_TRACE(number);
      const ComPtr<IStream> inner = NewStream(kHolderRecord);
      FaultStream stream(inner.Get());
      stream.FailAt(StreamCall::kRead, number, kFull);
      CComVariant value = TextValue(OLESTR("old"), 3);
      EXPECT_EQ(ReadFromStream(&stream, value), kFull);
      EXPECT_EQ(value.vt, VT_BSTR);
      EXPECT_EQ(script_.objects, 0);
      EXPECT_EQ(stream.References(), 0u);
    }
  }
}

// The tests of vectors show that they come alive when the class is there.
TEST_F(TaggedObjects, OfAbsentClasses_Survive) {
  constexpr char kEmpty[] = "CInternalClassHolder::Save()->save empty object to stream";
  const std::string withoutData = "0D 00 " + kClass + " 00 00 00 00 00 00 00 00";
  for (const std::string& record : {kHolderRecord, withoutData}) {
    const bool hasData = record == kHolderRecord;
    const ComPtr<IStream> stream = NewStream("09" + record.substr(2) + "FF");
    CComVariant holder;
    DebugCapture debug;
    EXPECT_EQ(ReadFromStream(stream.Get(), holder), S_OK);
    EXPECT_THAT(debug.Texts(), ElementsAre(kNotCreated, kTestClassText, kGeneric));
    EXPECT_EQ(PositionOf(stream.Get()), hasData ? 29u : 26u);
    ASSERT_EQ(holder.vt, VT_UNKNOWN);
    const ComPtr<IPersistStream> persist = ComPtr<IUnknown>(holder.punkVal).As<IPersistStream>();
    ASSERT_TRUE(persist);
    EXPECT_FALSE(persist.As<IPersist>());
    EXPECT_FALSE(persist.As<IPersistStreamInit>());
    ULARGE_INTEGER size{};
    EXPECT_EQ(persist->GetSizeMax(&size), S_OK);
    EXPECT_EQ(size.QuadPart, hasData ? 3u : 0u);
    EXPECT_EQ(persist->IsDirty(), S_FALSE);
    EXPECT_EQ(persist->Load(stream.Get()), E_NOTIMPL);
    debug.Clear();
    const ComPtr<IStream> written = NewStream();
    EXPECT_EQ(WriteToStream(written.Get(), holder), S_OK);
    EXPECT_EQ(ContentOf(written.Get()), record);
    EXPECT_THAT(debug.Texts(), ElementsAreArray(std::vector<std::string>(hasData ? 0 : 2, kEmpty)));
  }
}

TEST_F(TaggedObjects, StatedSizes_CostNothing) {
  const ULONGLONG before = ResidentBytes();
  enum { kNever, kPerhaps, kAlways };
  const struct {
    const char* size;
    int fits;
  } rows[] = {{"00 00 00 00 00 00 00 80", kNever},   {"FF FF FF FF FF FF FF FF", kNever},
              {"FF FF FF FF FF FF FF 7F", kNever},   {"00 00 00 00 00 00 00 40", kNever},
              {"02 00 00 00 02 00 00 00", kPerhaps}, {"FF FF FF FF 00 00 00 00", kPerhaps},
              {"00 00 00 40 00 00 00 00", kAlways}};
  for (const auto& [size, fits] : rows) {
    SCOPED_TRACE(size);
    const ComPtr<IStream> stream = NewStream("0D 00 " + kClass + size + "A1 A2 A3");
    CComVariant value;
    value.vt = VT_I4;
    bool hasRoom = true;
    try {
      EXPECT_EQ(ReadFromStream(stream.Get(), value), S_OK);
    } catch (const std::bad_alloc&) {
      hasRoom = false;
    }
    ASSERT_TRUE(hasRoom ? fits != kNever : fits != kAlways);
    EXPECT_EQ(value.vt, hasRoom ? VT_UNKNOWN : VT_I4);
    EXPECT_LE(ResidentBytes(), before + (64u << 20));
    if (!hasRoom) continue;
    ULARGE_INTEGER held{};
    ComPtr<IUnknown>(value.punkVal).As<IPersistStream>()->GetSizeMax(&held);
    EXPECT_EQ(HexOf(&held.QuadPart, 8), size);
  }
  // Missing bytes are zero.
  const ComPtr<IStream> cut = NewStream(kHolderRecord.substr(0, kHolderRecord.size() - 3));
  CComVariant holder;
  EXPECT_EQ(ReadFromStream(cut.Get(), holder), S_OK);
  const ComPtr<IStream> written = NewStream();
  EXPECT_EQ(WriteToStream(written.Get(), holder), S_OK);
  EXPECT_EQ(ContentOf(written.Get()), kHolderRecord.substr(0, kHolderRecord.size() - 2) + "00");
}

TEST(ClassHolder, IsFilledOnce) {
  platform::CComObject<rastel::CInternalClassHolder>* made = nullptr;
  ASSERT_EQ(platform::CComObject<rastel::CInternalClassHolder>::CreateInstance(&made), S_OK);
  const ComPtr<rastel::CInternalClassHolder> holder(made);
  CLSID classId = kTestClass;
  EXPECT_EQ(holder->GetClassID(&classId), S_OK);
  EXPECT_TRUE(IsEqualGUID(classId, CLSID_NULL));
  const ComPtr<IStream> stream = NewStream("A1 A2 A3 A4 A5 A6 A7 A8");
  EXPECT_EQ(holder->LoadWithSize(stream.Get(), 3, kTestClass), S_OK);
  EXPECT_EQ(holder->LoadWithSize(stream.Get(), 0xFFFFFFFF, CLSID_NULL), S_OK);
  const ComPtr<IStream> saved = NewStream();
  EXPECT_EQ(holder->Save(saved.Get(), TRUE), S_OK);
  EXPECT_EQ(ContentOf(saved.Get()), "A4 A5 A6");
}

class DeepCopies : public ObjectTest {};

TEST_F(DeepCopies, GoThroughPersistence) {
  Register();
  const struct {
    const char* what;
    std::function<void(Script&)> change;
    VARTYPE source, expected;
    HRESULT raised;
  } rows[] = {{"unknown", [](Script&) {}, VT_UNKNOWN, VT_UNKNOWN, S_OK},
              {"dispatch", [](Script&) {}, VT_DISPATCH, VT_UNKNOWN, S_OK},
              {"none", [](Script& s) { s.query = E_NOINTERFACE; }, VT_UNKNOWN, VT_EMPTY, S_OK},
              {"load", [](Script& s) { s.load = kFull; }, VT_UNKNOWN, VT_EMPTY, S_OK},
              {"refuses", [](Script& s) { s.query = kFull; }, VT_UNKNOWN, VT_EMPTY, kFull},
              // What was written is enough for the object to load.
              {"save", [](Script& s) { s.save = kFull; }, VT_UNKNOWN, VT_UNKNOWN, S_OK}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Restart("A1 A2 A3");
    row.change(script_);
    const CComVariant source = NewValue(row.source);
    CComVariant copy;
    EXPECT_EQ(Raised([&] { copy = rastel::GetRealCopyOfVariant(source); }), row.raised);
    EXPECT_EQ(copy.vt, row.expected);
    EXPECT_EQ(script_.objects, row.expected == VT_UNKNOWN ? 2 : 1);
    if (row.expected == VT_UNKNOWN) {
      EXPECT_NE(copy.punkVal, source.punkVal);
    }
  }
  CComVariant null;
  null.vt = VT_UNKNOWN;
  EXPECT_EQ(rastel::GetRealCopyOfVariant(null).vt, VT_EMPTY);
  VARIANT five{};
  five.vt = VT_I4;
  five.lVal = 5;
  EXPECT_EQ(rastel::GetRealCopyOfVariant(five).lVal, 5);
  five.vt = 24;
  EXPECT_EQ(RaisedByCopy([&] { rastel::GetRealCopyOfVariant(five); }), kBadType);
}

// With each allocation refused once, a record is read or copied, or the failure is told; nothing is
// left behind, and what is read is valid.
TEST_F(DeepCopies, WithoutMemory_TellAndLeaveNothing) {
  enum Outcome { kDone, kCode, kComError, kCopyFailed, kNoStream, kNoMemory, kOther };
  const auto outcomeOf = [](auto body) {
    try {
      return body() == S_OK ? kDone : kCode;
    } catch (const rastel::_com_error&) {
      return kComError;
    } catch (const rastel::CAtlException& error) {
      return error == kMemory ? kCopyFailed : kOther;
    } catch (const rastel::TextException& error) {
      return error.what() == std::string("can't create stream on hGlobal") ? kNoStream : kOther;
    } catch (const std::bad_alloc&) {
      return kNoMemory;
    } catch (...) {
      return kOther;
    }
  };
  const auto check = [](Outcome outcome, long long leaked) {
    EXPECT_NE(outcome, kOther);
    EXPECT_EQ(leaked, 0);
  };
  const ComPtr<IStream> record = NewStream(kHolderRecord);
  CComVariant holder;
  ReadFromStream(record.Get(), holder);
  const CComVariant text = TextValue(OLESTR("ab"), 2);
  rastel::CNullDeviceStream counter;

  int refused = FailEachAllocation(
      [&] {
        SeekTo(record.Get(), 0);
        CComVariant value;
        return outcomeOf([&] { return ReadFromStream(record.Get(), value); });
      },
      check);
  EXPECT_GE(refused, 2);
  bool sawNoStream = false;
  refused = FailEachAllocation(
      [&] {
        return outcomeOf([&] {
          const CComVariant copy = rastel::GetRealCopyOfVariant(holder);
          return S_OK;
        });
      },
      [&](Outcome outcome, long long leaked) {
        check(outcome, leaked);
        sawNoStream |= outcome == kNoStream;
      });
  EXPECT_EQ(sawNoStream, kEmbeddedHost);
  EXPECT_GE(refused, 2);
  FailEachAllocation([&] { return outcomeOf([&] { return WriteToStream(&counter, text); }); },
                     check);
}

}  // namespace
}  // namespace tests
