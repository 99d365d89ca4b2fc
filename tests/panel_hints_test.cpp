#include <array>
#include <cstdint>
#include <gtest/gtest.h>
#include <map>
#include <ostream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/camera_facts.h"
#include "tests/support/exports.h"
#include "tests/support/stage.h"

// The hints of every camera's panel, word by word in their order: scenes and habits of years rest on these panels.

namespace {

/// What a word of a hint is.
enum class Word { number, function, texts, data };

struct Kind {
  std::uintptr_t tag;
  const char* name;
  std::vector<Word> words;
};

/// The numbers are those of the host, and are written here once more on purpose.
const std::vector<Kind>& kinds() {
  static const std::vector<Kind> all{
      {0x3D001201, "focus", {Word::number}},
      {0x3D001302, "destroy notify", {Word::function, Word::data}},
      {0x3D014002, "minimum", {Word::number, Word::number}},
      {0x3D014102, "maximum", {Word::number, Word::number}},
      {0x3D014304, "range", {Word::number, Word::number, Word::number, Word::number}},
      {0x3D014402, "sensitivity", {Word::number, Word::number}},
      {0x3D014503, "choices", {Word::number, Word::texts, Word::number}},
      {0x3D016203, "popup", {Word::number, Word::function, Word::function}},
      {0x3D016502, "draw", {Word::number, Word::function}},
      {0x3D017403, "configure", {Word::number, Word::number, Word::number}},
      // The second word is the end of a list without entries.
      {0x3D021481, "divider", {Word::number, Word::number}},
  };
  return all;
}

/// Small numbers as people count; identifiers and bits in hexadecimal.
std::string number_text(std::uintptr_t word) {
  const auto number = static_cast<std::int64_t>(word);
  std::ostringstream text;
  if (number > -0x8000 && number < 0x8000) {
    text << number;
  } else {
    text << "0x" << std::hex << std::uppercase << word;
  }
  return text.str();
}

/// A tab, which nobody would see here, as it is written in the source.
std::string list_text(std::uintptr_t word) {
  std::string text;
  for (const auto* entry = reinterpret_cast<const char* const*>(word); *entry != nullptr; ++entry) {
    if (!text.empty()) text += " | ";
    for (const char* character = *entry; *character != '\0'; ++character) {
      text += *character == '\t' ? "\\t" : std::string(1, *character);
    }
  }
  return "[" + text + "]";
}

/// Reads hints aloud.
class Reader {
 public:
  Reader(const standin::Module& module, const void* instance) : instance_(reinterpret_cast<std::uintptr_t>(instance)) {
    for (const std::string& name : test_support::promised_exports()) {
      const void* address = module.library().find(name.c_str());
      if (address != nullptr) names_[reinterpret_cast<std::uintptr_t>(address)] = test_support::source_name(name);
    }
  }

  /// A line for each hint.
  std::string lines(const std::vector<std::uintptr_t>& words) const {
    std::string lines;
    for (std::size_t at = 0; at < words.size();) {
      const Kind* kind = nullptr;
      for (const Kind& known : kinds()) {
        if (known.tag == words[at]) kind = &known;
      }
      if (kind == nullptr || words.size() - at <= kind->words.size()) {
        lines += "unknown " + number_text(words[at++]) + "\n";
        continue;
      }
      lines += kind->name;
      ++at;
      for (const Word word : kind->words) lines += " " + text(word, words[at++]);
      lines += "\n";
    }
    return lines;
  }

 private:
  std::string text(Word word, std::uintptr_t value) const {
    switch (word) {
      case Word::number:
        break;
      case Word::function: {
        const auto found = names_.find(value);
        return found != names_.end() ? found->second : "a function that is not exported";
      }
      case Word::texts:
        return list_text(value);
      case Word::data:
        return value == instance_ ? "the instance" : "data of its own";
    }
    return number_text(value);
  }

  std::uintptr_t instance_;
  std::map<std::uintptr_t, std::string> names_;
};

struct Expected {
  std::string server;
  /// As the module hands them over. An empty line stands before what it hands over later.
  std::string hints;
};

void PrintTo(const Expected& expected, std::ostream* stream) { *stream << expected.server; }

const std::vector<Expected>& all_expected() {
  static const std::vector<Expected> all{
      {"QuorinMultiCam", R"(
focus -1
configure 0x8000 0 0xFFFFFFFF80000001
draw 0x8000 MultiCam::PanelControlDrawFunc
divider 0x8002 0
popup 0x8006 MultiCam::PanelPopCount MultiCam::PanelPopName
popup 0x8007 MultiCam::PanelPopCount MultiCam::PanelPopName
)"},
      {"Quorin4UpCam", R"(
focus -1
configure 0x8000 0 0xFFFFFFFF80000001
draw 0x8000 FourUpCam::PanelControlDrawFunc
divider 0x8002 0
popup 0x8006 FourUpCam::PanelPopCount FourUpCam::PanelPopName
popup 0x8007 FourUpCam::PanelPopCount FourUpCam::PanelPopName
popup 0x8008 FourUpCam::PanelPopCount FourUpCam::PanelPopName
popup 0x8009 FourUpCam::PanelPopCount FourUpCam::PanelPopName
)"},
      {"Quorin12UpCam", R"(
focus -1
configure 0x8000 0 0xFFFFFFFF80000001
draw 0x8000 TwelveUpCam::PanelControlDrawFunc
divider 0x8002 0
popup 0x8006 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x8007 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x8008 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x8009 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800A TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800B TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800C TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800D TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800E TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x800F TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x8010 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
popup 0x8011 TwelveUpCam::PanelPopCount TwelveUpCam::PanelPopName
)"},
      {"QuorinStereoCam", R"(
focus -1
configure 0x800C 0 0xFFFFFFFF80000001
draw 0x800C StereoCam::PanelControlDrawFunc
divider 0x8008 0
popup 0x8002 StereoCam::PanelPopCount StereoCam::PanelPopName
divider 0x8004 0
divider 0x8003 0
sensitivity 0x8004 1
sensitivity 0x8005 1
sensitivity 0x8006 1
)"},
      {"QuorinSkyboxCam", R"(
focus -1
configure 0x8000 0 0xFFFFFFFF80000001
draw 0x8000 SkyboxCam::PanelControlDrawFunc
divider 0x8002 0
configure 0x8012 0 0xFFFFFFFF80000001
draw 0x8012 SkyboxCam::PanelControlDrawFunc2
popup 0x8006 SkyboxCam::PanelPopCount SkyboxCam::PanelPopName

destroy notify SkyboxCam::OnPanelDestroy data of its own
)"},
      {"QuorinPanoramicCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 PanoramicCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8006 0
divider 0x8000 0
divider 0x8008 0
sensitivity 0x8007 1
sensitivity 0x8008 1
sensitivity 0x8006 1
sensitivity 0x8007 1
sensitivity 0x8008 1
)"},
      {"QuorinCylinderCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 CylinderCam::PanelControlDrawFunc
divider 0x8001 0
popup 0x8007 CylinderCam::PanelPopCount CylinderCam::PanelPopName
divider 0x8006 0
sensitivity 0x8006 1
sensitivity 0x8008 1
sensitivity 0x8009 1
)"},
      {"QuorinPerspectiveCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 PerspectiveCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8000 0
sensitivity 0x8000 1
)"},
      {"QuorinFisheyeCam", R"(
focus -1
configure 0x8007 0 0xFFFFFFFF80000001
draw 0x8007 FisheyeCam::PanelControlDrawFunc
divider 0x8003 0
divider 0x8000 0
divider 0x8002 0
sensitivity 0x8001 1
sensitivity 0x8002 1
)"},
      {"QuorinPerspectiveNoDOFCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 PerspectiveCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8000 0
sensitivity 0x8000 1
)"},
      {"QuorinPerspectiveNoDOFNoMBCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 PerspectiveCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8000 0
sensitivity 0x8000 1
)"},
      {"QuorinAdvPanCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 AdvPanCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8006 0
divider 0x8008 0
divider 0x800B 0
divider 0x800D 0
sensitivity 0x8006 1
sensitivity 0x8007 1
sensitivity 0x8008 1
sensitivity 0x800A 1
sensitivity 0x8009 1
sensitivity 0x800C 1
sensitivity 0x800B 1
sensitivity 0x800E 1
sensitivity 0x800D 1
minimum 0x800A -5
maximum 0x800A 5
minimum 0x8009 -5
maximum 0x8009 5
minimum 0x800C -5
maximum 0x800C 5
minimum 0x800B -5
maximum 0x800B 5
)"},
      {"QuorinOverscanCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 OverscanCam::PanelControlDrawFunc
divider 0x8001 0
popup 0x8007 OverscanCam::PanelPopCount OverscanCam::PanelPopName
sensitivity 0x8006 1
sensitivity 0x8008 1
sensitivity 0x8009 1
)"},
      {"QuorinDpiCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 OverscanCam::PanelControlDrawFunc
divider 0x8001 0
popup 0x8007 OverscanCam::PanelPopCount OverscanCam::PanelPopName
divider 0x8007 0
choices 0x800D [Horizontal Width | Vertical Height] 0
divider 0x800C 0
divider 0x800B 0
sensitivity 0x800C 1
sensitivity 0x8006 1
)"},
      {"QuorinRadialShiftCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 RadialShiftCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8000 0
divider 0x8008 0
divider 0x800A 0
sensitivity 0x8006 1
sensitivity 0x8007 1
sensitivity 0x8008 1
sensitivity 0x8009 1
sensitivity 0x800A 1
sensitivity 0x800B 1
sensitivity 0x800C 1
)"},
      {"QuorinSphericalCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 SphericalCam::PanelControlDrawFunc
divider 0x8001 0
divider 0x8006 0
sensitivity 0x8006 1
)"},
      {"QuorinImmersiveCam", R"(
focus -1
configure 0x8005 0 0xFFFFFFFF80000001
draw 0x8005 ImmersiveCam::PanelControlDrawFunc
divider 0x8001 0
)"},
      {"QuorinBakingCam", R"(
focus -1
configure 0x8000 0 0xFFFFFFFF80000001
draw 0x8000 BakingCam::PanelControlDrawFunc
divider 0x8002 0
popup 0x8006 BakingCam::PanelPopCount BakingCam::PanelPopName
popup 0x8007 BakingCam::PanelPopCountUvMap BakingCam::PanelPopNameUvMap
choices 0x8008 [Polygon normal | Smoothed normal | Mesh origin\t | Camera position] 0
choices 0x8009 [Width | Height | Width & Height] 0
)"},
  };
  return all;
}

class PanelHints : public testing::TestWithParam<Expected> {};

INSTANTIATE_TEST_SUITE_P(All, PanelHints, testing::ValuesIn(all_expected()),
                         [](const auto& expected) { return expected.param.server; });

TEST_P(PanelHints, AreWordForWordTheSame) {
  test_support::Stage stage;
  const auto camera = stage.create(GetParam().server);
  const Reader reader(stage.module, camera->raw());
  std::string hints;
  for (const standin::PanelHintWords& handed : camera->panel().hint_words) {
    EXPECT_EQ(handed.control, 0U);
    hints += "\n" + reader.lines(handed.words);
  }
  EXPECT_EQ(hints, GetParam().hints);
}

TEST(PinnedPanelHints, CoverEveryCamera) {
  std::set<std::string> servers{"QuorinBakingCam"};
  for (const test_support::CameraFacts& camera : test_support::all_cameras()) servers.insert(camera.server_name);
  std::set<std::string> pinned;
  for (const Expected& expected : all_expected()) pinned.insert(expected.server);
  EXPECT_EQ(pinned, servers);
}

}  // namespace
