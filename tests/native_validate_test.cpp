#include <algorithm>
#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "standin/remote/ray_service.h"
#include "standin/validate/context.h"
#include "tests/support/tool_fixture.h"

namespace native_validate_test {

using test_support::contents;
using test_support::module_file;
using test_support::Outcome;
using test_support::quoted;
using test_support::run_tool;
using test_support::scratch_folder;
using testing::Values;

std::filesystem::path broken_module() { return module_file().parent_path() / "broken_module.so"; }

/// Runs the tests on the module that makes one mistake; none without a name.
Outcome validate_broken(const std::string& fault, const std::string& arguments) {
  return test_support::run("env OVICAM_BROKEN_MODULE_COPIES=0 OVICAM_REAL_MODULE=" + quoted(module_file()) + " OVICAM_FAULT='" +
                           fault + "' " + test_support::tool_command("validate " + quoted(broken_module()) + " " + arguments));
}

/// A mistake, the test that is there to find it, a camera that it shows on, and what is said of it.
struct Mistake {
  std::string fault;
  std::string test;
  std::string server;
  std::string said;

  friend void PrintTo(const Mistake& mistake, std::ostream* out) { *out << mistake.fault; }
};

const std::vector<Mistake>& all_mistakes() {
  const std::string perspective = "QuorinPerspectiveNoDOFCam";
  const std::string dual = "QuorinMultiCam";
  const std::string skybox = "QuorinSkyboxCam";
  static const std::vector<Mistake> mistakes{
      {"server without user names", "descriptor", "", "no user name in American English"},
      {"server offered twice", "descriptor", "", "repeats CameraHandler"},
      {"unknown version accepted", "activation", perspective, "for the unknown version 1 the answer is 0"},
      {"callback left out", "activation", perspective, "the callback \"project\" is left out"},
      {"callback is null", "activation", perspective, "the callback \"evaluate\" is null"},
      {"service never released", "services", perspective, "\"LW Object Info 14\" is acquired and never released"},
      {"unknown service asked for", "services", perspective, "\"No Such Service 1\", which no host has"},
      {"parameter set up twice", "services", perspective, "is set up 2 times"},
      {"value read without a result", "services", perspective, "without room for the result"},
      {"leaked handle", "lifecycle", perspective, "handles of an instance are left behind"},
      {"handle used after destroy", "lifecycle", perspective, "is stale or was never given out"},
      {"instance shared between cameras", "lifecycle", perspective, "two living cameras have one instance"},
      {"copy onto itself crashes", "copy", perspective, "crashed (signal 11, Segmentation fault) in copy"},
      {"copy forgets the settings", "copy", dual, "the copy saves something else than the original"},
      {"value lost in save", "state", dual, "reads past the end"},
      {"state read past its end", "state", perspective, "reads past the end"},
      {"state left unread", "state", perspective, "are left unread"},
      {"torn pose", "reproducibility", perspective, "the same inputs give other rays"},
      {"process differs from process", "reproducibility", perspective, "In another process"},
      {"preview before a frame crashes", "before-frame", perspective, "in preview("},
      {"description is null", "before-frame", perspective, "it gives no text"},
      {"write on refusal", "inputs", perspective, "gave no ray, and yet wrote into it"},
      {"direction is no number", "inputs", perspective, "is not made of finite numbers"},
      {"direction is too long", "inputs", perspective, "is not of length 1"},
      {"new frame never ends", "inputs", perspective, "does not return from new frame("},
      {"write past the ray", "bounds", perspective, "beyond the ray's first three vectors"},
      {"write before the ray", "bounds", perspective, "in evaluate, between pages that nobody may touch"},
      {"result depends on the thread", "threads", perspective, "rays are others than from one"},
      {"sleep in evaluation", "waiting", perspective, "it waits"},
      {"projection disagrees", "projection", perspective, "is not projected to where the ray came from"},
      {"projects although it says not", "projection", perspective, "says it does not project"},
      {"clean-up without a render crashes", "order", perspective, "in clean-up"},
      {"null name is read", "hostile-host", dual, "crashed (signal 11, Segmentation fault) in"},
      {"null instance destroyed", "null", perspective, "in destroy without an instance"},
      {"evaluator used before init", "evaluators", dual, "is used before init or after cleanUp"},
      {"evaluator used before newFrame", "evaluators", dual, "is used before newFrame"},
      {"evaluator never destroyed", "evaluators", dual, "evaluators of other cameras are left behind"},
      {"second render differs", "sessions", perspective, "A second render of the same frames"},
      {"hint words overwritten", "panel", skybox, "the words of a panel's hints changed"},
      {"popup counts one too many", "panel", dual, "counts more entries than it has"},
      {"control of an unknown class", "panel", perspective, "has the unknown class \"no-such-class\""},
      {"two controls with one ID", "panel", perspective, "Two controls have the ID"},
      {"value of a wrong kind", "panel", perspective, "is not a variant parameter that is alive"},
      {"drawing outside its area", "panel", perspective, "draws outside its area of 1000 x 200"},
      {"value of a dead instance", "panel-lifetime", perspective, "in a panel's value("},
      {"gizmo without help", "gizmo", perspective, "gizmo help: it gives no text"},
      {"output at start-up", "quiet", "", "writes to standard output"},
      {"output while rendering", "quiet", "", "writes to standard output"},
      {"file left open", "reload", "", "files of the module are still open"},
      {"thread left behind", "reload", "", "threads of the module go on"},
      {"handler left behind", "reload", "", "a handler of signals or exceptions is left behind"},
      {"memory left behind", "reload", "", "memory of the module is left behind"},
      {"crash at shut-down with living cameras", "shutdown", "", "in shut-down and unloading"},
      {"copies disturb one another", "two-modules", "", "A second module changes the rays of the first"},
  };
  return mistakes;
}

class BrokenModule : public testing::TestWithParam<Mistake> {};

INSTANTIATE_TEST_SUITE_P(All, BrokenModule, testing::ValuesIn(all_mistakes()), [](const auto& mistake) {
  std::string name = mistake.param.fault;
  std::replace_if(
      name.begin(), name.end(), [](unsigned char character) { return std::isalnum(character) == 0; }, '_');
  return name;
});

TEST_P(BrokenModule, IsFoundByItsTestAndNoOther) {
  const Mistake& mistake = GetParam();
  const std::string server = mistake.server.empty() ? "" : " --server " + mistake.server;
  const Outcome found = validate_broken(mistake.fault, "--only " + mistake.test + server + " --level 2 --seconds-per-call 2");
  EXPECT_EQ(found.exit_code, 1);
  EXPECT_NE(found.output.find(mistake.said), std::string::npos) << found.output;
  EXPECT_NE(found.output.find("FAILED " + mistake.test), std::string::npos) << found.output;
  EXPECT_NE(found.output.find("--only " + mistake.test + server + " --level 2 --seed 1"), std::string::npos) << found.output;
  const auto report = scratch_folder() / "report.json";
  const std::string camera = mistake.server.empty() ? "QuorinPerspectiveNoDOFCam" : mistake.server;
  validate_broken(mistake.fault, "--server " + camera + " --level 2 --seconds-per-call 2 --json " + quoted(report));
  const auto json = nlohmann::json::parse(contents(report));
  std::vector<std::string> failed;
  for (const auto& result : json["results"])
    if (result["passed"] == false) failed.push_back(result["test"]);
  EXPECT_EQ(failed, std::vector{mistake.test});
}

TEST(Validate, EveryTestFindsAMistake) {
  std::set<std::string> tests;
  for (const Mistake& mistake : all_mistakes()) tests.insert(mistake.test);
  for (const auto& test : standin::validate::all_tests())
    // A render node has less of a host; what goes wrong there goes wrong in other tests as well.
    EXPECT_TRUE(tests.contains(test.name) || std::string(test.name) == "render-node") << test.name;
}

TEST(Validate, TheModuleBehindTheProxyIsSound) {
  const Outcome outcome = validate_broken("", "--level 1");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
}

TEST(Validate, RenderingWarnsOfAModuleThatBreaksARule) {
  const auto picture = scratch_folder() / "picture.png";
  const auto render = [&](const std::string& fault, const std::string& scene_and_camera, const std::string& more) {
    return test_support::run("cd " + quoted(test_support::source_folder() / "samples") +
                             " && env OVICAM_REAL_MODULE=" + quoted(module_file()) + " OVICAM_FAULT='" + fault + "' " +
                             test_support::tool_command("render " + scene_and_camera + " --size 32x8 --samples 1 --module " +
                                                        quoted(broken_module()) + " -o " + quoted(picture) + " " + more));
  };
  const std::string rule = "warning: the module broke a rule of its host";
  const std::string damage = "warning: the settings that the scene keeps for Dual may be damaged or of another version";
  const std::string panorama = "plaza.lws --camera Panorama";
  const std::string dual = "cameras.lws --camera Dual";
  struct Case {
    std::string fault, scene_and_camera, warning;
  };
  for (const Case& broken :
       {Case{"write past the ray", panorama, rule}, Case{"unknown service asked for", panorama, rule},
        Case{"parameter set up twice", panorama, rule}, Case{"stale handle used in clean-up", panorama, rule},
        Case{"unknown service asked for at the end", panorama, rule}, Case{"evaluator used before newFrame", dual, rule},
        Case{"evaluator used before init", dual, rule}, Case{"state left unread", dual, damage},
        Case{"state read past its end", dual, damage}}) {
    const Outcome warned = render(broken.fault, broken.scene_and_camera, "");
    EXPECT_EQ(warned.exit_code, 0) << warned.output;
    EXPECT_NE(warned.output.find(broken.warning), std::string::npos) << broken.fault << ": " << warned.output;
    EXPECT_EQ(render(broken.fault, broken.scene_and_camera, "--strict").exit_code, 1) << broken.fault;
  }
  for (const std::string& scene_and_camera : {panorama, dual, std::string("cameras.lws --camera Overscan")}) {
    const Outcome sound = render("", scene_and_camera, "");
    EXPECT_EQ(sound.exit_code, 0) << sound.output;
    EXPECT_EQ(sound.output.find(rule), std::string::npos) << sound.output;
    EXPECT_EQ(sound.output.find("damaged"), std::string::npos) << sound.output;
  }
  EXPECT_EQ(render("", panorama, "--strict").exit_code, 0);
}

/// A ray service plays the same module's host in another process.
TEST(Validate, WhatIsBrokenAfterTheLastFrameBeganArrivesFromARayService) {
  setenv("OVICAM_REAL_MODULE", module_file().c_str(), 1);
  const auto told = [](const std::string& fault) {
    setenv("OVICAM_FAULT", fault.c_str(), 1);
    standin::SessionOptions options;
    options.scene_file = test_support::source_folder() / "samples/plaza.lws";
    options.module_file = broken_module();
    options.camera_name = "Panorama";
    const auto session = standin::open_remote_session(options);
    session->begin_frame(0);
    EXPECT_TRUE(session->take_warnings().empty()) << fault;
    const std::array<standin::RayQuery, 4> queries{};
    std::array<standin::RayAnswer, 4> answers{};
    session->evaluate(queries, answers);
    session->end();
    std::vector<std::string> warnings = session->take_warnings();
    EXPECT_TRUE(session->take_warnings().empty()) << "each is told once";
    EXPECT_THROW(session->begin_frame(0), std::runtime_error);
    return warnings;
  };
  EXPECT_TRUE(told("").empty());
  for (const auto& [fault, call] : std::map<std::string, std::string>{{"write past the ray", "evaluate"},
                                                                      {"stale handle used in clean-up", "getVal"},
                                                                      {"unknown service asked for at the end", "GlobalFunc"}}) {
    const std::vector<std::string> warnings = told(fault);
    ASSERT_EQ(warnings.size(), 1U) << fault;
    EXPECT_NE(warnings.front().find("broke a rule of its host"), std::string::npos) << warnings.front();
    EXPECT_NE(warnings.front().find(call), std::string::npos) << warnings.front();
  }
  unsetenv("OVICAM_FAULT");
  unsetenv("OVICAM_REAL_MODULE");
}

TEST(Validate, ACrashAtStartUpIsAFailedTest) {
  const Outcome outcome = validate_broken("crash at start-up", "--level 1");
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_NE(outcome.output.find("FAILED descriptor"), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find("in loading and start-up"), std::string::npos) << outcome.output;
}

TEST(Validate, ACrashOfOneCameraLeavesTheTestsOfTheOthers) {
  const auto report = scratch_folder() / "report.json";
  const Outcome outcome = validate_broken("null name is read", "--only hostile-host --level 2 --json " + quoted(report));
  EXPECT_EQ(outcome.exit_code, 1);
  const auto json = nlohmann::json::parse(contents(report));
  EXPECT_EQ(json["results"].size(), 17U);
  const auto passed = std::count_if(json["results"].begin(), json["results"].end(),
                                    [](const auto& result) { return result["passed"].template get<bool>(); });
  EXPECT_GT(passed, 0);
  EXPECT_LT(passed, 17);
}

TEST(Validate, WritesBothReports) {
  const auto folder = scratch_folder();
  const Outcome outcome = run_tool("validate " + quoted(module_file()) + " --only projection --only panel --level 1 --json " +
                                   quoted(folder / "r.json") + " --junit " + quoted(folder / "r.xml"));
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
  const auto json = nlohmann::json::parse(contents(folder / "r.json"));
  EXPECT_EQ(json["passed"], true);
  EXPECT_EQ(json["results"].size(), 34U);
  std::size_t excused = 0;
  for (const auto& result : json["results"]) {
    excused += result["excused"].size();
    for (const auto& exception : result["excused"]) EXPECT_FALSE(exception["reason"].get<std::string>().empty());
    if (result["server"] == "QuorinPanoramicCam" && result["test"] == "projection") {
      EXPECT_GT(result["numbers"]["points projected"], 100);
      EXPECT_LT(result["numbers"]["projection error, radians, median"], 1e-6);
    }
  }
  EXPECT_GT(excused, 0U);
  const Outcome parsed = test_support::run(
      "python3 -c 'import sys, xml.etree.ElementTree as tree; "
      "print(len(tree.parse(sys.argv[1]).findall(\".//testcase\")))' " +
      quoted(folder / "r.xml"));
  EXPECT_EQ(parsed.output, "34\n");
}

TEST(Validate, TheJUnitReportHasFailuresAndIsWellFormed) {
  const auto report = scratch_folder() / "r.xml";
  validate_broken("callback left out", "--only activation --level 1 --junit " + quoted(report));
  const Outcome parsed = test_support::run(
      "python3 -c 'import sys, xml.etree.ElementTree as tree; "
      "print(len(tree.parse(sys.argv[1]).findall(\".//failure\")))' " +
      quoted(report));
  EXPECT_EQ(parsed.output, "17\n");
}

TEST(Validate, TheSameSeedGivesTheSameRun) {
  const auto folder = scratch_folder();
  const auto numbers = [&](const std::string& arguments, const std::string& name) {
    run_tool("validate " + quoted(module_file()) + " --only inputs --server QuorinSkyboxCam --level 1 " + arguments +
             " --json " + quoted(folder / name));
    return nlohmann::json::parse(contents(folder / name))["results"][0]["numbers"];
  };
  EXPECT_EQ(numbers("--seed 4", "a.json"), numbers("--seed 4", "b.json"));
  EXPECT_NE(numbers("--seed 4", "a.json"), numbers("--seed 5", "c.json"));
}

TEST(Validate, ListsEveryTest) {
  const Outcome outcome = run_tool("validate --list");
  EXPECT_EQ(outcome.exit_code, 0);
  for (const auto& test : standin::validate::all_tests())
    EXPECT_NE(outcome.output.find(test.name), std::string::npos) << test.name;
}

class WrongArguments : public testing::TestWithParam<std::pair<std::string, std::string>> {};

INSTANTIATE_TEST_SUITE_P(All, WrongArguments,
                         Values(std::pair{"--only no-such-test", "There is no test called \"no-such-test\""},
                                std::pair{"--server NoSuchCam", "no camera server called \"NoSuchCam\""},
                                std::pair{"--level 11", "--level"}, std::pair{"--level 0", "--level"},
                                std::pair{"--jobs 0", "--jobs"},
                                std::pair{"--json /no/such/folder/r.json", "/no/such/folder"}));

TEST_P(WrongArguments, AreRefusedInOneSentence) {
  const Outcome outcome = run_tool("validate " + quoted(module_file()) + " " + GetParam().first);
  EXPECT_NE(outcome.exit_code, 0);
  EXPECT_NE(outcome.output.find(GetParam().second), std::string::npos) << outcome.output;
  EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << outcome.output;
}

TEST(Validate, WhatIsNoModuleIsRefused) {
  for (const std::string file : {"/no/such/module.so", "/etc/passwd", "/tmp"}) {
    const Outcome outcome = run_tool("validate " + file);
    EXPECT_EQ(outcome.exit_code, 1) << outcome.output;
    EXPECT_NE(outcome.output.find(file), std::string::npos) << outcome.output;
  }
  EXPECT_EQ(run_tool("validate").exit_code, 2);
}

/// A library, but not a module of this host.
TEST(Validate, ALibraryThatIsNoModuleFails) {
  const Outcome outcome = run_tool("validate " + quoted(module_file().parent_path() / "ovicam-pictures.so"));
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_NE(outcome.output.find("is not a module of this host"), std::string::npos) << outcome.output;
}

TEST(Validate, LeavesNothingInTheTemporaryFolder) {
  const auto before = test_support::names_in(test_support::child_folder());
  run_tool("validate " + quoted(module_file()) + " --only two-modules --only quiet --level 1");
  EXPECT_EQ(test_support::names_in(test_support::child_folder()), before);
}

TEST(Validate, TheShippedModuleIsSound) {
  if (test_support::shipped_module().empty()) GTEST_SKIP() << "build/windows holds no OviCam.p";
  const Outcome outcome = run_tool("validate " + quoted(test_support::shipped_module()) + " --level 1");
  EXPECT_EQ(outcome.exit_code, 0) << outcome.output;
}

}  // namespace native_validate_test
