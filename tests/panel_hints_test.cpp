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

namespace panel_hints_test {

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
  if (number > -0x8000 && number < 0x8000)
    text << number;
  else
    text << "0x" << std::hex << std::uppercase << word;
  return text.str();
}

/// A tab, which nobody would see here, as it is written in the source.
std::string list_text(std::uintptr_t word) {
  std::string text;
  for (const auto* entry = reinterpret_cast<const char* const*>(word); *entry != nullptr; ++entry) {
    if (!text.empty()) text += " | ";
    for (const char* character = *entry; *character != '\0'; ++character)
      text += *character == '\t' ? "\\t" : std::string(1, *character);
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
      for (const Kind& known : kinds())
        if (known.tag == words[at]) kind = &known;
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

/// The baking camera, which the module does not register, and hosts that know its name can create all the same.
test_support::CameraFacts baking() {
  test_support::CameraFacts camera;
  camera.server_name = "QuorinBakingCam";
  camera.hints = R"(
focus -1
configure 0x8000 0 0xFFFFFFFF80000001
draw 0x8000 BakingCam::PanelControlDrawFunc
divider 0x8002 0
popup 0x8006 BakingCam::PanelPopCount BakingCam::PanelPopName
popup 0x8007 BakingCam::PanelPopCountUvMap BakingCam::PanelPopNameUvMap
choices 0x8008 [Polygon normal | Smoothed normal | Mesh origin\t | Camera position] 0
choices 0x8009 [Width | Height | Width & Height] 0
)";
  return camera;
}

std::vector<test_support::CameraFacts> cameras() {
  std::vector<test_support::CameraFacts> cameras = test_support::all_cameras();
  cameras.push_back(baking());
  return cameras;
}

class PanelHints : public testing::TestWithParam<test_support::CameraFacts> {};

INSTANTIATE_TEST_SUITE_P(All, PanelHints, testing::ValuesIn(cameras()),
                         [](const auto& camera) { return camera.param.server_name; });

TEST_P(PanelHints, AreWordForWordTheSame) {
  test_support::Stage stage;
  const auto camera = stage.create(GetParam().server_name);
  const Reader reader(stage.module, camera->raw());
  std::string hints;
  for (const standin::PanelHintWords& handed : camera->panel().hint_words) {
    EXPECT_EQ(handed.control, 0U);
    hints += "\n" + reader.lines(handed.words);
  }
  EXPECT_EQ(hints, GetParam().hints);
}

}  // namespace panel_hints_test
