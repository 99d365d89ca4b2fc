#include "standin/validate/exceptions.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace standin::validate {
namespace {

/// One thing that a module is required to do although the tests forbid it.
struct Exception {
  /// Empty: every one of them.
  std::string_view test;
  /// Empty: every one of them.
  std::string_view server;
  /// A part of the failure's sentence.
  std::string_view failure;
  std::string_view reason;
};

/// A module that offers a camera of this name, with this user name, is the one that the exceptions are for.
struct KnownModule {
  std::string_view server;
  std::string_view user_name;
  std::vector<Exception> exceptions;
};

const std::vector<KnownModule>& known_modules() {
  constexpr std::string_view cleared =
      "The host clears this record before it hands it over, and the slot means nothing to the camera.";
  constexpr std::string_view own_size =
      "The drawing has the size that it has always had, and the host clips it in a narrow panel.";
  constexpr std::string_view misplaced = "project: a point on a ray is not projected to where the ray came from";
  static const std::vector<KnownModule> modules{
      {"QuorinPanoramicCam",
       "Quorin Panoramic Camera",
       {
           {"activation", "", "the callback \"change name\" is left out", cleared},
           {"activation", "", "the callback \"pick items\" is left out", cleared},
           {"panel", "", "it draws outside its area of 120 x 64 pixels", own_size},
           {"panel", "", "it draws outside its area of 40 x 20 pixels", own_size},
           {"panel", "", "it draws outside its area of 8 x 100 pixels", own_size},
           {"panel", "", "it draws outside its area of 1 x 1 pixels", own_size},
           {"panel", "QuorinSkyboxCam", "it draws outside its area of 300 x 64 pixels", own_size},
           {"panel", "QuorinPanoramicCam", "A hint is about the control 32768, which there is not",
            "Its panel has always had a divider below a control that is hidden; the host passes over it."},
           {"", "QuorinCylinderCam", "project: the module gave no film position, and yet wrote one",
            "For a point on its axis the camera leaves the coordinate along the axis behind, where hosts have come to find "
            "it."},
           {"evaluators", "QuorinOverscanCam", "is used before newFrame",
            "Its rays are those of the other camera as of the last new time; the host prepares the frame itself."},
           {"evaluators", "QuorinDpiCam", "is used before newFrame",
            "Its rays are those of the other camera as of the last new time; the host prepares the frame itself."},
           {"projection", "QuorinStereoCam", misplaced,
            "Where both images share a frame, a point is placed in the image of one eye as if it were the whole frame."},
           {"projection", "QuorinAdvPanCam", misplaced,
            "Points are placed as if every scale of the camera were 1; scenes are laid out by that."},
           {"projection", "QuorinRadialShiftCam", misplaced,
            "Points are placed by the radial law, without shift and shear; scenes are laid out by that."},
           {"projection", "QuorinDpiCam", misplaced,
            "A print's bleed counts as if it were a fraction; scenes are laid out by that."},
       }}};
  return modules;
}

bool matches(const Exception& exception, const Result& result, const std::string& failure) {
  return (exception.test.empty() || exception.test == result.test) &&
         (exception.server.empty() || exception.server == result.server) &&
         failure.find(exception.failure) != std::string::npos;
}

}  // namespace

void apply_exceptions(Result& result, const std::vector<std::pair<std::string, std::string>>& servers) {
  for (const KnownModule& module : known_modules()) {
    const std::pair<std::string, std::string> sign{module.server, module.user_name};
    if (std::ranges::find(servers, sign) == servers.end()) continue;
    std::erase_if(result.failures, [&](const std::string& failure) {
      for (const Exception& exception : module.exceptions) {
        if (!matches(exception, result, failure)) continue;
        result.excused.push_back({failure, std::string(exception.reason)});
        return true;
      }
      return false;
    });
  }
}

}  // namespace standin::validate
