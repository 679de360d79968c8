#include "tests/host/scripted_object.h"
#include "tests/support/fault_stream.h"
#include "tests/support/host_kind.h"
#include "tests/support/results.h"

namespace tests {
namespace {

using platform::ComPtr;

const std::string kClassBytes = "51 7C 0A 1F 11 3C 1E 4B 9A 01 52 7D 10 44 6E 01";
const std::string kData = " A1 A2 A3 A4 A5 A6";

class Persistence : public ScriptedTest {};

TEST_F(Persistence, Class_IsOneWriteOrReadOf16Bytes) {
  const ComPtr<IStream> inner = NewStream();
  FaultStream stream(inner.Get());
  CLSID classId{};
  EXPECT_EQ(WriteClassStm(&stream, kScriptedClass), S_OK);
  EXPECT_EQ(ContentOf(inner.Get()), kClassBytes);
  SeekTo(inner.Get(), 0);
  EXPECT_EQ(ReadClassStm(&stream, &classId), S_OK);
  EXPECT_TRUE(IsEqualCLSID(classId, kScriptedClass));
  EXPECT_EQ(stream.Calls(StreamCall::kEvery), 2u);
  SeekTo(inner.Get(), 1);
  EXPECT_EQ(ReadClassStm(&stream, &classId), STG_E_READFAULT);
  ExpectEach(E_INVALIDARG, {WriteClassStm(nullptr, kScriptedClass), ReadClassStm(nullptr, &classId),
                            OleSaveToStream(NewObject().Get(), nullptr)});
}

TEST_F(Persistence, Save_WritesIdentifierThenObject) {
  const struct {
    HRESULT getClassId, save, result;
    std::string content;
  } kRows[] = {{S_OK, S_FALSE, S_FALSE, kClassBytes + kData},
               {S_OK, kOwnCode, kOwnCode, kClassBytes + kData},
               {kOwnCode, S_OK, kOwnCode, ""}};
  for (const auto& row : kRows) {
    Restart();
    script_.getClassId = row.getClassId;
    script_.save = row.save;
    const ComPtr<IStream> stream = NewStream();
    EXPECT_EQ(OleSaveToStream(NewObject().Get(), stream.Get()), row.result);
    EXPECT_EQ(script_.calls, row.content.empty() ? "GetClassID" : "GetClassID Save(TRUE)");
    EXPECT_EQ(ContentOf(stream.Get()), row.content);
  }
}

TEST_F(Persistence, Load_GivesTheInterfaceAskedForOrNothing) {
  const std::string whole = kClassBytes + kData;
  const struct {
    std::string content;
    HRESULT create, load;
    IID iid;
    HRESULT result;
    const char* calls;
  } kRows[] = {{whole, S_OK, S_FALSE, kScriptedInterface, S_FALSE, "CreateInstance Load"},
               {whole, S_OK, kOwnCode, kScriptedInterface, kOwnCode, "CreateInstance Load"},
               {whole, kOwnCode, S_OK, kScriptedInterface, kOwnCode, "CreateInstance"},
               {"51 7C 0A", S_OK, S_OK, kScriptedInterface, STG_E_READFAULT, ""},
               {"52" + whole.substr(2), S_OK, S_OK, kScriptedInterface, REGDB_E_CLASSNOTREG, ""},
               // The measured platform asks for the interface before it loads.
               {whole, S_OK, S_OK, kMissingInterface, E_NOINTERFACE,
                kEmbeddedHost ? "CreateInstance Load" : "CreateInstance"}};
  for (const auto& row : kRows) {
    SCOPED_TRACE(&row - kRows);
    Restart();
    script_.create = row.create;
    script_.load = row.load;
    void* out = nullptr;
    EXPECT_EQ(OleLoadFromStream(NewStream(row.content).Get(), row.iid, &out), row.result);
    EXPECT_EQ(script_.calls, row.calls);
    // The measured platform leaves an object that fails alive.
    if (FAILED(row.result) && !kEmbeddedHost) script_.objects = 0;
    EXPECT_EQ(script_.objects, SUCCEEDED(row.result) ? 1 : 0);
    if (SUCCEEDED(row.result)) static_cast<IUnknown*>(out)->Release();
  }
}

}  // namespace
}  // namespace tests
