// SPDX-License-Identifier: MIT
// Calls between processes, in rows of three parts: this program makes objects, starts itself again
// and hands them over, the second process uses them, and the first looks at what was done.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "interfaces/identifiers.h"
#include "tests/objects/session.h"
#include "tests/support/child_process.h"
#include "tests/support/class_table.h"
#include "tests/support/expected_text.h"
#include "tests/support/module_client.h"
#include "tests/support/registered_module.h"
#include "tests/support/streams.h"

namespace tests {
namespace {

using facts::Print;
using objects::Session;
using platform::ComPtr;

constexpr const char* kHanded[] = {"map", "picture", "vector"};
constexpr const char* kInterfaces[] = {"IAttributeMapKLP", "IAoiKLP", "IByteVectorKLP"};

// Runs the rows behind a heading. What they say, with the heading, comments and blank lines.
std::string RunRows(Session& session, const std::string& heading) {
  std::ifstream file(RASTEL_PROXY_ROWS);
  std::string said, current;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("[")) current = line;
    if (current != heading) continue;
    const std::string row = line.substr(0, line.find(" -> "));
    const bool isRow = !line.empty() && line[0] != '[' && line[0] != '#';
    const std::string answer = isRow ? session.Run(row) : "";
    said += row + (answer.empty() ? "" : " -> ") + answer + '\n';
  }
  return said;
}

TEST(Proxies, CarryCallsAsRecorded) {
  const RegisteredModule registered;
  ASSERT_EQ(registered.Result(), S_OK);
  const ComPtr<IStream> stream = NewStream();
  const auto handOver = [&](IUnknown* object, const IID& iid) {
    EXPECT_EQ(CoMarshalInterface(stream.Get(), iid, object, MSHCTX_LOCAL, nullptr, 0), S_OK);
  };
  std::vector<ComPtr<IUnknown>> others;
  for (const ClassRow& row : kClasses) {
    others.push_back(ModuleClient::Get().Create<IUnknown>(row.classId));
    handOver(others.back().Get(), row.typed);
  }
  Session session;
  std::string said = RunRows(session, "[server]");
  for (const char* name : kHanded) {
    const objects::Named& named = session.Object(name);
    handOver(named.pointer.Get(), *named.type->id);
  }
  const TempFile file("references");
  file.Write(ContentOf(stream.Get()));
  ChildResult child = RunProgram(ThisProgram(), {"client", file.path()});
  EXPECT_EQ(child.exitCode, 0);
  std::erase(child.output, '\r');
  said += child.output;
  ExpectText("proxies.txt", said + RunRows(session, "[server afterwards]"));
}

int RunClient(const char* path) {
  CoInitializeEx(nullptr, COINIT_MULTITHREADED);
  std::ifstream file(path, std::ios::binary);
  const ComPtr<IStream> stream = NewStream(std::string(std::istreambuf_iterator<char>(file), {}));
  HRESULT result = S_OK;
  const auto take = [&](const IID& iid) {
    ComPtr<IUnknown> object;
    const HRESULT taken = CoUnmarshalInterface(stream.Get(), iid, object.PutVoid());
    if (FAILED(taken)) result = taken;
    return object;
  };
  for (const ClassRow& row : kClasses) take(row.typed);
  Session session;
  for (int i = 0; i < 3; ++i) {
    const HostType* type = objects::FindType(kInterfaces[i]);
    session.objects[kHanded[i]] = {take(*type->id), type};
  }
  std::fputs(RunRows(session, "[client]").c_str(), stdout);
  return result;
}

// A value under HKCR as text; "none" if the key or the value is not there.
std::string Registered(const std::string& key, const char* name = nullptr) {
  char text[300];
  DWORD bytes = sizeof(text);
  const bool isThere = RegGetValueA(HKEY_CLASSES_ROOT, key.c_str(), name, RRF_RT_REG_SZ, nullptr,
                                    text, &bytes) == ERROR_SUCCESS;
  return isThere ? text : "none";
}

TEST(Registration, EntersTheProxiesOfEveryInterfaceAndTakesThemOut) {
  RegisteredModule registered;
  ASSERT_EQ(registered.Result(), S_OK);
  const std::string proxies = Print(IID_IDoubleAOIKLP);
  const HostTypeLibrary& library = rastel::types::TypeLibrary();
  for (const bool isEntered : {true, false}) {
    SCOPED_TRACE(isEntered);
    const auto expect = [&](const std::string& value) { return isEntered ? value : "none"; };
    ASSERT_EQ(isEntered ? S_OK : registered.Unregister(), S_OK);
    for (const HostType* type = library.types; type != library.types + library.typeCount; ++type) {
      if (!type->members) continue;
      const std::string key = "Interface\\" + Print(*type->id);
      const int slots = type->members[type->memberCount - 1].slot + 1;
      EXPECT_EQ(Registered(key + "\\NumMethods"), expect(std::to_string(slots))) << type->name;
      EXPECT_EQ(Registered(key + "\\ProxyStubClsid32"), expect(proxies)) << type->name;
    }
    for (const ClassRow& row : kClasses) {
      const std::string server = "CLSID\\" + Print(row.classId) + "\\InprocServer32";
      EXPECT_EQ(Registered(server, "ThreadingModel"), expect("Both")) << row.name;
    }
    const std::string server = "CLSID\\" + proxies + "\\InProcServer32";
    EXPECT_EQ(Registered(server, "ThreadingModel"), expect("Both"));
  }
}

TEST(Exports, AskTheProxiesBeforeTheCatalogue) {
  const ModuleClient& module = ModuleClient::Get();
  ComPtr<IUnknown> factory;
  const struct {
    const GUID& classId;
    const IID& iid;
    HRESULT result;
  } rows[] = {{CLSID_ByteAOIKLP, IID_IPSFactoryBuffer, E_NOINTERFACE},
              // The proxies go by the identifiers of their interfaces too, but make no objects.
              {IID_IByteAOIKLP, IID_IPSFactoryBuffer, S_OK},
              {IID_IByteAOIKLP, IID_IClassFactory, CLASS_E_CLASSNOTAVAILABLE},
              {IID_IDoubleAOIKLP, IID_IPSFactoryBuffer, S_OK}};
  for (const auto& row : rows) {
    EXPECT_EQ(module.GetClassObject(row.classId, row.iid, factory.PutVoid()), row.result);
    EXPECT_EQ(module.CanUnloadNow(), factory ? S_FALSE : S_OK);
  }
  EXPECT_EQ(module.GetClassObject(IID_IDoubleAOIKLP, IID_IUnknown, nullptr), E_POINTER);
}

}  // namespace
}  // namespace tests

int main(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "client") return tests::RunClient(argv[2]);
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
