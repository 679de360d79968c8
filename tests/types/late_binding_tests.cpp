// The module as a client sees it that knows ProgIDs and names only.
#include <gmock/gmock.h>

#include "interfaces/identifiers.h"
#include "platform/com_ptr.h"
#include "tests/support/late_call.h"
#include "tests/support/registered_module.h"
#include "tests/support/thread_error.h"

namespace tests {
namespace {

using platform::ComPtr;
using platform::ResultCode;

// The characters 0 to 255.
Text Wide(const char* latin) {
  Text wide;
  for (; *latin; ++latin) wide += static_cast<OLECHAR>(static_cast<unsigned char>(*latin));
  return wide;
}
VARIANT Latin(const char* text) { return Str(Wide(text).c_str()); }

struct LateCall {
  const char* name;
  WORD flags;
  std::vector<VARIANT> arguments;
  HRESULT result = S_OK;
  const char* value = "0 ";
  // Of a member that failed.
  SCODE code = 0;
  const char* description = "";
};

constexpr HRESULT kException = ResultCode(0x80020009);
constexpr HRESULT kBadCount = ResultCode(0x8002000E);

LateCall Fails(const char* name, WORD flags, std::vector<VARIANT> arguments, unsigned code,
               const char* description) {
  return {name, flags, std::move(arguments), kException, "0 ", ResultCode(code), description};
}

class LateBinding : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(module_.Result(), S_OK); }

  static ComPtr<IDispatch> Create(const char* progId) {
    CLSID id{};
    ComPtr<IDispatch> object;
    EXPECT_EQ(CLSIDFromProgID(Wide(progId).c_str(), &id), S_OK);
    CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, object.PutVoid());
    return object;
  }

  static Outcome Call(IDispatch& object, const LateCall& call) {
    const Text name = Wide(call.name);
    LPOLESTR pointer = const_cast<LPOLESTR>(name.c_str());
    DISPID member = 0;
    Outcome outcome;
    outcome.result = object.GetIDsOfNames(GUID{}, &pointer, 1, 0, &member);
    outcome.value = OLESTR("0 ");
    if (FAILED(outcome.result)) return outcome;
    PutErrorText(OLESTR("of an older report"));
    return CallLate(
        [&](DISPPARAMS* params, VARIANT* value, EXCEPINFO* exception, UINT* bad) {
          return object.Invoke(member, GUID{}, 0, call.flags, params, value, exception, bad);
        },
        call.arguments, call.flags == kSet ? std::vector<DISPID>{kPut} : std::vector<DISPID>{});
  }

  static void Drive(const char* progId, const std::vector<LateCall>& calls) {
    const ComPtr<IDispatch> object = Create(progId);
    ASSERT_TRUE(object);
    for (std::size_t i = 0; i < calls.size(); ++i) {
      SCOPED_TRACE(testing::Message() << i << " " << calls[i].name);
      const Outcome outcome = Call(*object, calls[i]);
      EXPECT_EQ(outcome.result, calls[i].result);
      EXPECT_EQ(outcome.code, calls[i].code);
      EXPECT_EQ(outcome.description, Wide(calls[i].description));
      if (outcome.result == ResultCode(0x80020009)) {
        const Text source = *calls[i].description ? Wide(progId) : Text();
        EXPECT_EQ(outcome.source.substr(0, Wide(progId).size()), source);
      } else {
        // What a failing member returned is open.
        EXPECT_EQ(outcome.value, Wide(calls[i].value));
      }
    }
  }

  RegisteredModule module_;
};

TEST_F(LateBinding, OfAPicture) {
  const ComPtr<IDispatch> vector = Create("VectorKLP.LongKLP");
  LONG x = -1, y = -1, width = -1, height = -1;
  Drive(
      "AOIKLP.ByteKLP",
      {Fails("Width", kGet, {}, 0x8004045A, "Rasteldata: Dem AOI ist kein Bildpuffer zugeordnet."),
       {"createimage", kMethod, {Latin("4"), Int(3)}},
       {"WIDTH", kGet | kMethod, {}, S_OK, "3 4"},
       {"PutPixel", kMethod, {Int(1), Int(2), Latin("200")}},
       {"GetPixel", kMethod, {Int(1), Int(2)}, S_OK, "5 200"},
       {"SetRect", kMethod, {Int(1), Int(1), Int(2), Int(2)}},
       {"GetRect", kMethod, {By(VT_I4, &x), By(VT_I4, &y), By(VT_I4, &width), By(VT_I4, &height)}},
       {"PlaneSelected", kSet, {Int(0), Int(0)}},
       {"PlaneSelected", kGet, {Int(0)}, S_OK, "3 0"},
       {"MarginMode", kSet, {Int(3)}},
       {"MarginMode", kGet, {}, S_OK, "3 3"},
       {"Name", kSet, {Latin("picture")}},
       {"Name", kGet, {}, S_OK, "8 picture"},
       {"Tag", kSet, {Real(1.5)}},
       {"Tag", kGet, {}, S_OK, "5 1.5"},
       {"Clone", kMethod, {}, S_OK, "9"},
       {"AttributeMap", kGet, {}, S_OK, "9"},
       {"IsBound", kGet, {}, S_OK, "3 1"},
       {"Unite", kMethod, {Obj(vector.Get())}, E_NOINTERFACE},
       Fails("Unite", kMethod, {Obj(nullptr)}, 0x80070057, ""),
       {"Rotate", kMethod, {}, DISP_E_UNKNOWNNAME},
       {"IsBound", kSet, {Int(1)}, DISP_E_MEMBERNOTFOUND},
       {"SplitTiles", kMethod, {Int(1), Int(1), By(VT_DISPATCH, &x)}, DISP_E_MEMBERNOTFOUND},
       {"GetPointer", kMethod, {}, DISP_E_BADVARTYPE},
       {"CreateImage", kMethod, {Int(1)}, kBadCount},
       {"GetPixel", kMethod, {Int(1), Int(2), Int(3)}, kBadCount},
       {"Fill", kMethod, {Latin("grey")}, DISP_E_TYPEMISMATCH},
       {"ActivePlane", kSet, {Real(1e10)}, DISP_E_OVERFLOW},
       Fails("MarshalFlags", kSet, {Int(9)}, 0x80020009, "Unsupported Marshalflags")});
  EXPECT_EQ(x * 1000 + y * 100 + width * 10 + height, 1122);
}

TEST_F(LateBinding, OfAVector) {
  Drive("VectorKLP.DoubleKLP",
        {// S_FALSE of an empty vector is a success.
         {"Count", kGet, {}, S_OK, "3 0"},
         {"Count", kSet, {Int(3)}},
         {"Value", kSet, {Int(1), Latin("2.5")}},
         {"Value", kGet, {Int(1)}, S_OK, "5 2.5"},
         {"HasElementTags", kSet, {Int(1)}},
         {"ElementTag", kSet, {Int(2), Latin("tag")}},
         {"ElementTag", kGet, {Int(2)}, S_OK, "8 tag"},
         {"ElementType", kGet, {}, S_OK, "3 7"},
         {"DeepCopy", kMethod, {}, S_OK, "9"},
         Fails("Value", kGet, {Int(9)}, 0x80040461, "Rasteldata: Ung\xFCltiges Vektor-Element "),
         {"GetTagPointer", kMethod, {Int(0), Int(0)}, DISP_E_BADVARTYPE},
         {"Value", kGet, {}, kBadCount}});
}

TEST_F(LateBinding, OfAMap) {
  Drive("RastelKLP.AttributeBstrMapKLP",
        {{"Value", kSet, {Latin("b"), Int(5)}},
         {"Value", kSet, {Latin("a"), Real(0.5)}},
         {"Value", kGet, {Latin("b")}, S_OK, "3 5"},
         {"Count", kGet, {}, S_OK, "3 2"},
         {"Keys", kGet, {}, S_OK, "8204"},
         {"Exists", kMethod, {Latin("c")}, S_OK, "11 0"},
         {"GetEnumerator", kMethod, {}, S_OK, "13"},
         {"KeyKind", kGet, {}, S_OK, "3 0"},
         {"Clone", kMethod, {}, S_OK, "9"},
         Fails("Remove", kMethod, {Latin("c")}, 0x80020009, "this attribute is not defined")});
}

}  // namespace
}  // namespace tests
