// The module as a client sees it that knows ProgIDs and names only.
#include <gmock/gmock.h>

#include "interfaces/identifiers.h"
#include "platform/com_ptr.h"
#include "tests/support/late_call.h"
#include "tests/support/registered_module.h"

namespace tests {
namespace {

using platform::ComPtr;
using platform::ResultCode;

struct LateCall {
  LPCOLESTR name;
  WORD flags;
  std::vector<VARIANT> arguments;
  HRESULT result = S_OK;
  LPCOLESTR value = OLESTR("0 ");
  // Of a member that failed.
  SCODE code = 0;
  LPCOLESTR description = OLESTR("");
};

class LateBinding : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(module_.Result(), S_OK); }

  static ComPtr<IDispatch> Create(LPCOLESTR progId) {
    CLSID id{};
    ComPtr<IDispatch> object;
    if (FAILED(CLSIDFromProgID(progId, &id)) ||
        FAILED(
            CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, object.PutVoid()))) {
      ADD_FAILURE() << "no object";
    }
    return object;
  }

  static Outcome Call(IDispatch& object, const LateCall& call) {
    LPOLESTR name = const_cast<LPOLESTR>(call.name);
    DISPID member = 0;
    Outcome outcome;
    outcome.result = object.GetIDsOfNames(GUID{}, &name, 1, 0, &member);
    outcome.value = OLESTR("0 ");
    if (FAILED(outcome.result)) return outcome;
    return CallLate(
        [&](DISPPARAMS* params, VARIANT* value, EXCEPINFO* exception, UINT* bad) {
          return object.Invoke(member, GUID{}, 0, call.flags, params, value, exception, bad);
        },
        call.arguments, call.flags == kSet ? std::vector<DISPID>{kPut} : std::vector<DISPID>{});
  }

  static void Drive(LPCOLESTR progId, const std::vector<LateCall>& calls) {
    const ComPtr<IDispatch> object = Create(progId);
    ASSERT_TRUE(object);
    for (std::size_t i = 0; i < calls.size(); ++i) {
      SCOPED_TRACE(i);
      SCOPED_TRACE(testing::PrintToString(Text(calls[i].name)));
      const Outcome outcome = Call(*object, calls[i]);
      EXPECT_EQ(outcome.result, calls[i].result);
      EXPECT_EQ(outcome.code, calls[i].code);
      EXPECT_EQ(outcome.description, calls[i].description);
      if (outcome.result == ResultCode(0x80020009)) {
        EXPECT_EQ(outcome.source.substr(0, Text(progId).size()), progId);
      } else {
        // What a failing member returned is open.
        EXPECT_EQ(outcome.value, calls[i].value);
      }
    }
  }

  RegisteredModule module_;
};

constexpr HRESULT kException = platform::ResultCode(0x80020009);
constexpr HRESULT kBadCount = platform::ResultCode(0x8002000E);

TEST_F(LateBinding, OfAPicture) {
  const ComPtr<IDispatch> vector = Create(OLESTR("VectorKLP.LongKLP"));
  LONG x = -1, y = -1, width = -1, height = -1;
  Drive(OLESTR("AOIKLP.ByteKLP"),
        {
            {OLESTR("Width"),
             kGet,
             {},
             kException,
             OLESTR("0 "),
             ResultCode(0x8004045A),
             OLESTR("Rasteldata: Dem AOI ist kein Bildpuffer zugeordnet.")},
            {OLESTR("createimage"), kMethod, {Str(OLESTR("4")), Int(3)}},
            {OLESTR("WIDTH"), kGet | kMethod, {}, S_OK, OLESTR("3 4")},
            {OLESTR("PutPixel"), kMethod, {Int(1), Int(2), Str(OLESTR("200"))}},
            {OLESTR("GetPixel"), kMethod, {Int(1), Int(2)}, S_OK, OLESTR("5 200")},
            {OLESTR("SetRect"), kMethod, {Int(1), Int(1), Int(2), Int(2)}},
            {OLESTR("GetRect"),
             kMethod,
             {By(VT_I4, &x), By(VT_I4, &y), By(VT_I4, &width), By(VT_I4, &height)}},
            {OLESTR("PlaneSelected"), kSet, {Int(0), Int(0)}},
            {OLESTR("PlaneSelected"), kGet, {Int(0)}, S_OK, OLESTR("3 0")},
            {OLESTR("MarginMode"), kSet, {Int(3)}},
            {OLESTR("MarginMode"), kGet, {}, S_OK, OLESTR("3 3")},
            {OLESTR("Name"), kSet, {Str(OLESTR("picture"))}},
            {OLESTR("Name"), kGet, {}, S_OK, OLESTR("8 picture")},
            {OLESTR("Tag"), kSet, {Real(1.5)}},
            {OLESTR("Tag"), kGet, {}, S_OK, OLESTR("5 1.5")},
            {OLESTR("Clone"), kMethod, {}, S_OK, OLESTR("9")},
            {OLESTR("AttributeMap"), kGet, {}, S_OK, OLESTR("9")},
            {OLESTR("IsBound"), kGet, {}, S_OK, OLESTR("3 1")},
            {OLESTR("Unite"), kMethod, {Obj(vector.Get())}, E_NOINTERFACE},
            {OLESTR("Rotate"), kMethod, {}, DISP_E_UNKNOWNNAME},
            {OLESTR("IsBound"), kSet, {Int(1)}, DISP_E_MEMBERNOTFOUND},
            {OLESTR("SplitTiles"),
             kMethod,
             {Int(1), Int(1), By(VT_DISPATCH, &x)},
             DISP_E_MEMBERNOTFOUND},
            {OLESTR("GetPointer"), kMethod, {}, DISP_E_BADVARTYPE},
            {OLESTR("CreateImage"), kMethod, {Int(1)}, kBadCount},
            {OLESTR("GetPixel"), kMethod, {Int(1), Int(2), Int(3)}, kBadCount},
            {OLESTR("Fill"), kMethod, {Str(OLESTR("grey"))}, DISP_E_TYPEMISMATCH},
            {OLESTR("ActivePlane"), kSet, {Real(1e10)}, DISP_E_OVERFLOW},
            {OLESTR("MarshalFlags"),
             kSet,
             {Int(9)},
             kException,
             OLESTR("0 "),
             ResultCode(0x80020009),
             OLESTR("Unsupported Marshalflags")},
        });
  EXPECT_EQ(x * 1000 + y * 100 + width * 10 + height, 1122);
}

TEST_F(LateBinding, OfAVector) {
  Drive(OLESTR("VectorKLP.DoubleKLP"),
        {
            // S_FALSE of an empty vector is a success.
            {OLESTR("Count"), kGet, {}, S_OK, OLESTR("3 0")},
            {OLESTR("Count"), kSet, {Int(3)}},
            {OLESTR("Value"), kSet, {Int(1), Str(OLESTR("2.5"))}},
            {OLESTR("Value"), kGet, {Int(1)}, S_OK, OLESTR("5 2.5")},
            {OLESTR("HasElementTags"), kSet, {Int(1)}},
            {OLESTR("ElementTag"), kSet, {Int(2), Str(OLESTR("tag"))}},
            {OLESTR("ElementTag"), kGet, {Int(2)}, S_OK, OLESTR("8 tag")},
            {OLESTR("ElementType"), kGet, {}, S_OK, OLESTR("3 7")},
            {OLESTR("DeepCopy"), kMethod, {}, S_OK, OLESTR("9")},
            {OLESTR("Value"),
             kGet,
             {Int(9)},
             kException,
             OLESTR("0 "),
             ResultCode(0x80040461),
             OLESTR("Rasteldata: Ung\u00FCltiges Vektor-Element ")},
            {OLESTR("GetTagPointer"), kMethod, {Int(0), Int(0)}, DISP_E_BADVARTYPE},
            {OLESTR("Value"), kGet, {}, kBadCount},
        });
}

TEST_F(LateBinding, OfAMap) {
  Drive(OLESTR("RastelKLP.AttributeBstrMapKLP"),
        {
            {OLESTR("Value"), kSet, {Str(OLESTR("b")), Int(5)}},
            {OLESTR("Value"), kSet, {Str(OLESTR("a")), Real(0.5)}},
            {OLESTR("Value"), kGet, {Str(OLESTR("b"))}, S_OK, OLESTR("3 5")},
            {OLESTR("Count"), kGet, {}, S_OK, OLESTR("3 2")},
            {OLESTR("Keys"), kGet, {}, S_OK, OLESTR("8204")},
            {OLESTR("Exists"), kMethod, {Str(OLESTR("c"))}, S_OK, OLESTR("11 0")},
            {OLESTR("GetEnumerator"), kMethod, {}, S_OK, OLESTR("13")},
            {OLESTR("KeyKind"), kGet, {}, S_OK, OLESTR("3 0")},
            {OLESTR("Clone"), kMethod, {}, S_OK, OLESTR("9")},
            {OLESTR("Remove"),
             kMethod,
             {Str(OLESTR("c"))},
             kException,
             OLESTR("0 "),
             ResultCode(0x80020009),
             OLESTR("this attribute is not defined")},
        });
}

}  // namespace
}  // namespace tests
