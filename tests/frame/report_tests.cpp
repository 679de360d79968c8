// Reports: result codes, the thread's error object, and the module's string table as clients load
// it.
#include "module/frame/reports.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include "platform/resources.h"
#include "tests/support/allocation_faults.h"
#include "tests/support/host_kind.h"
#include "tests/support/module_client.h"
#include "tests/support/thread_error.h"

namespace tests {
namespace {

using rastel::Message;
using rastel::ReportError;
using rastel::ReportErrorText;
using Text = std::basic_string<OLECHAR>;

constexpr CLSID kClass{
    0x1F0A7C52, 0x3C11, 0x4B1E, {0x9A, 0x01, 0x52, 0x7D, 0x10, 0x44, 0x6E, 0x20}};
constexpr LPCOLESTR kClassKey = OLESTR("CLSID\\{1F0A7C52-3C11-4B1E-9A01-527D10446E20}");
constexpr LPCOLESTR kBefore = OLESTR("what was there before");

constexpr struct {
  WORD number;
  LPCOLESTR text;
} kMessages[] = {
    {100, OLESTR("Rasteldata")},
    {1101, OLESTR("Rasteldata: Es sind nur positive Koordinaten erlaubt")},
    {1102, OLESTR("Rasteldata: Bereichsueberschreitung\nDie angegebenen Koordinaten sind zu "
                  "gross")},
    {1103, OLESTR("Rasteldata: Dateiversion nicht unterstuetzt.")},
    {1104, OLESTR("Rasteldata: Es werden nur Vektoren (mit dem gleichen Datentyp) unterstuetzt.")},
    {1105, OLESTR("Rasteldata: Die Vektordimension ist zu klein.")},
    {1106, OLESTR("Rasteldata: Margins muessen groesser oder gleich null sein")},
    {1107, OLESTR("Rasteldata: Das AOI liegt ganz oder teilweise ausserhalb des Bildpuffers.")},
    {1108, OLESTR("Rasteldata: AOI hat Breite null.")},
    {1109, OLESTR("Rasteldata: AOI hat Hoehe null.")},
    {1110, OLESTR("Rasteldata: AOI-Dimensionen koennen nicht ermittelt werden.")},
    {1111, OLESTR("Rasteldata: AOI-Pointer auf Bildpuffer kann nicht ermittelt werden.")},
    {1112, OLESTR("Rasteldata: Die AOIs passen nicht zueinander.")},
    {1113, OLESTR("Rasteldata: Die uebergebenen Koordinaten sind kleiner null.")},
    {1114, OLESTR("Rasteldata: Dem AOI ist kein Bildpuffer zugeordnet.")},
    {1115, OLESTR("Rasteldata: AOI kann nicht erzeugt werden.")},
    {1116, OLESTR("Rasteldata: AOI-Margins koennen nicht garantiert werden.")},
    {1117, OLESTR("Rasteldata: Clone kann nicht erzeugt werden.")},
    {1118, OLESTR("Rasteldata: SplitTiles nicht moeglich")},
    {1119, OLESTR("Rasteldata: AOI-Flaeche ist null.")},
    {1120, OLESTR("Rasteldata:  AOI kann nicht geladen werden")},
    {1121, OLESTR("Rasteldata: Ung\u00FCltiges Vektor-Element ")},
    {1122, OLESTR("Rasteldata: Vektor kann nicht geklont werden.")},
    {1123, OLESTR("Rasteldata: Ung\u00FCltige Stream-Versionsnummer beim Lesen eines Vektors")},
    {1124, OLESTR("Rasteldata: AOI kann nicht kopiert werden")},
    {1125, OLESTR("Rasteldata: Klasse kann nicht instanziiert werden.")},
    {1127, OLESTR("Rasteldata: Plane kann nicht aktiviert werden")},
    {1128, OLESTR("Rasteldata: Zugriff auf Plane-Zeiger nicht m\u00F6glich")},
    {1129, OLESTR("Rasteldata: Plane liegt ausserhalb des Bildpuffers")},
    {1130, OLESTR("Rastel: Neuer Vektor kann nicht erzeugt werden")},
};

LPCOLESTR Numbered(WORD number) {
  return reinterpret_cast<LPCOLESTR>(static_cast<std::uintptr_t>(number));
}

// A string of a module as a client reads it; without a value when it is absent.
std::optional<Text> LoadedString(HINSTANCE module, UINT number) {
  char narrow[1024];
  const int bytes = LoadStringA(module, number, narrow, 1024);
  if (bytes == 0) return std::nullopt;
  OLECHAR wide[1024];
  const int units = MultiByteToWideChar(CP_THREAD_ACP, 0, narrow, bytes, wide, 1024);
  return Text(wide, static_cast<std::size_t>(units));
}

// Letters that show where they stand.
std::string Letters(std::size_t count) {
  std::string letters(count, ' ');
  for (std::size_t i = 0; i < count; ++i) letters[i] = static_cast<char>('a' + (i + i / 26) % 26);
  return letters;
}

Text Wide(const std::string& ascii) { return Text(ascii.begin(), ascii.end()); }

class Reports : public testing::Test {
 protected:
  Reports() { SetErrorInfo(0, nullptr); }
  ~Reports() override { SetErrorInfo(0, nullptr); }
};

TEST_F(Reports, OfNumbersInTheTable_TellItsTexts) {
  const HINSTANCE module = ModuleClient::Get().Handle();
  for (const auto& row : kMessages) {
    SCOPED_TRACE(row.number);
    EXPECT_EQ(LoadedString(module, row.number), row.text);
    EXPECT_EQ(ReportError(kClass, Numbered(row.number), module),
              platform::ResultCode(0x80040000u | row.number));
    const std::optional<ThreadError> error = TakeThreadError();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->description, row.text);
    EXPECT_EQ(error->source, std::nullopt);
    EXPECT_TRUE(IsEqualGUID(error->guid, GUID_NULL));
  }
}

TEST_F(Reports, OfOtherNumbers_TellUnknownError) {
  const HINSTANCE module = ModuleClient::Get().Handle();
  for (const WORD number :
       std::initializer_list<WORD>{0, 1, 0x70, 99, 101, 1100, 1126, 1131, 0x4466, 0xFFFF}) {
    SCOPED_TRACE(number);
    EXPECT_EQ(LoadedString(module, number), std::nullopt);
    EXPECT_EQ(ReportError(kClass, Numbered(number), module),
              platform::ResultCode(0x80040000u | number));
    EXPECT_EQ(TakeErrorText(), OLESTR("Unknown Error"));
  }
  EXPECT_EQ(ReportError(kClass, Numbered(1126), module), platform::ResultCode(0x80040466u));
  // No module, no table.
  EXPECT_EQ(ReportError(kClass, Numbered(1114), nullptr), platform::ResultCode(0x8004045Au));
  EXPECT_EQ(TakeErrorText(), OLESTR("Unknown Error"));
}

TEST_F(Reports, OfTheModulesOwnMessages_ReadItsTable) {
  rastel::SetReportModule(ModuleClient::Get().Handle());
  EXPECT_EQ(rastel::Report(kClass, Message::NoBuffer), platform::ResultCode(0x8004045Au));
  EXPECT_EQ(TakeErrorText(), OLESTR("Rasteldata: Dem AOI ist kein Bildpuffer zugeordnet."));
  EXPECT_EQ(rastel::Report(kClass, Message::BadVectorElement), platform::ResultCode(0x80040461u));
  EXPECT_EQ(TakeErrorText(), OLESTR("Rasteldata: Ung\u00FCltiges Vektor-Element "));
  rastel::SetReportModule(nullptr);
}

TEST_F(Reports, OfTexts_TellThemInFull) {
  // Around 1024 bytes of wide text, 1024 characters, and far beyond any buffer.
  for (const std::size_t length : {0, 1, 510, 511, 512, 513, 514, 515, 1023, 1024, 1025, 100000}) {
    SCOPED_TRACE(length);
    const std::string text = Letters(length);
    EXPECT_EQ(ReportErrorText(kClass, text.c_str()), platform::ResultCode(0x80020009u));
    const std::optional<ThreadError> error = TakeThreadError();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->description, Wide(text));
    EXPECT_EQ(error->source, std::nullopt);
    EXPECT_TRUE(IsEqualGUID(error->guid, GUID_NULL));
    EXPECT_EQ(ReportError(kClass, Wide(text).c_str(), nullptr), platform::ResultCode(0x80020009u));
    EXPECT_EQ(TakeErrorText(), Wide(text));
  }
}

TEST_F(Reports, OfTexts_ReadTheThreadsCodePage) {
  const Text wide = OLESTR("\u00FCber m\u00F6glich");
  char narrow[32];
  WideCharToMultiByte(CP_THREAD_ACP, 0, wide.c_str(), -1, narrow, 32, nullptr, nullptr);
  EXPECT_EQ(ReportErrorText(kClass, narrow), DISP_E_EXCEPTION);
  EXPECT_EQ(TakeErrorText(), wide);
  PutErrorText(kBefore);
  EXPECT_EQ(ReportErrorText(kClass, nullptr), E_POINTER);
  EXPECT_EQ(TakeErrorText(), kBefore);
}

TEST_F(Reports, NameTheProgIdOfARegisteredClass) {
  const Text progId = OLESTR("Test.Reports.2");
  HKEY key = nullptr;
  ASSERT_EQ(RegCreateKeyExW(HKEY_CLASSES_ROOT, (Text(kClassKey) + OLESTR("\\ProgID")).c_str(), 0,
                            nullptr, 0, KEY_ALL_ACCESS, nullptr, &key, nullptr),
            ERROR_SUCCESS);
  ASSERT_EQ(RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(progId.c_str()),
                           static_cast<DWORD>((progId.size() + 1) * sizeof(OLECHAR))),
            ERROR_SUCCESS);
  RegCloseKey(key);
  const auto sourceOf = [](HRESULT) {
    const std::optional<ThreadError> error = TakeThreadError();
    return error ? error->source : OLESTR("no error object");
  };
  EXPECT_EQ(sourceOf(ReportErrorText(kClass, "text")), progId);
  EXPECT_EQ(sourceOf(ReportError(kClass, Numbered(1114), nullptr)), progId);
  EXPECT_EQ(sourceOf(ReportErrorText(GUID_NULL, "text")), std::nullopt);
  EXPECT_EQ(RegDeleteTreeW(HKEY_CLASSES_ROOT, kClassKey), ERROR_SUCCESS);
  EXPECT_EQ(sourceOf(ReportErrorText(kClass, "text")), std::nullopt);
}

TEST_F(Reports, OfLongMessages_AreCutAt1023NarrowCharacters) {
  if (!kEmbeddedHost) GTEST_SKIP() << "no other table can be handed over there";
  const Text cut = Wide(Letters(1023));
  // The last one needs two bytes of narrow text and does not fit.
  Text umlaut = cut;
  umlaut.back() = 0x00FC;
  const Text texts[] = {Wide(Letters(511)), Wide(Letters(512)), cut, cut + OLESTR("yz"), umlaut};
  const Text expected[] = {texts[0], texts[1], cut, cut, cut.substr(0, 1022)};
  platform::Resource rows[5];
  for (WORD i = 0; i < 5; ++i) {
    rows[i] = {
        nullptr, platform::kStringResource, i,
        0x0409,  texts[i].data(),           static_cast<DWORD>(texts[i].size() * sizeof(OLECHAR))};
  }
  const auto module = reinterpret_cast<HINSTANCE>(rows);
  platform::OfferResources(module, rows, 5);
  for (WORD i = 0; i < 5; ++i) {
    SCOPED_TRACE(i);
    const HRESULT whole = platform::ResultCode(0x80040000u | i);
    EXPECT_EQ(ReportError(kClass, Numbered(i), module), whole);
    EXPECT_EQ(TakeErrorText(), expected[i]);
    // Up to 1024 bytes of wide text need no memory.
    PutErrorText(kBefore);
    AllocationFaults faults(0);
    const HRESULT result = ReportError(kClass, Numbered(i), module);
    faults.Stop();
    EXPECT_EQ(result, i == 0 ? whole : E_OUTOFMEMORY);
    EXPECT_EQ(TakeErrorText(), kBefore);
  }
  platform::WithdrawResources(module);
}

TEST_F(Reports, WithoutMemoryForTheText_GiveOutOfMemoryAndNoReport) {
  const std::string text = Letters(512);
  PutErrorText(kBefore);
  AllocationFaults faults(0);
  const HRESULT result = ReportErrorText(kClass, text.c_str());
  faults.Stop();
  EXPECT_EQ(result, E_OUTOFMEMORY);
  EXPECT_EQ(TakeErrorText(), kBefore);
}

// A text that lies on the stack: what is refused is refused to the host.
TEST_F(Reports, WithoutMemoryForTheErrorObject_GiveTheResultAllTheSame) {
  const std::string text = Letters(511);
  PutErrorText(kBefore);
  bool isFirst = true;
  const int refused = FailEachAllocation([&] { return ReportErrorText(kClass, text.c_str()); },
                                         [&](HRESULT result, long long) {
                                           EXPECT_EQ(result, DISP_E_EXCEPTION);
                                           const std::optional<Text> left = TakeErrorText();
                                           // The object itself comes first.
                                           if (isFirst) {
                                             EXPECT_EQ(left, kBefore);
                                           } else if (left) {
                                             EXPECT_EQ(left, Wide(text));
                                           }
                                           isFirst = false;
                                           PutErrorText(kBefore);
                                         });
  if (kEmbeddedHost) {
    EXPECT_GT(refused, 0);
  }
  EXPECT_EQ(TakeErrorText(), Wide(text));
}

}  // namespace
}  // namespace tests
