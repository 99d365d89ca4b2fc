/// Memory that runs out at every place where the module asks for some, one after the other.

#include <algorithm>
#include <dlfcn.h>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <unwind.h>
#include <vector>

#include "interop/camera_link.h"
#include "tests/support/camera_facts.h"
#include "tests/support/link_folder.h"
#include "tests/support/saved_settings.h"
#include "tests/support/stage.h"

extern "C" {
void* __libc_malloc(std::size_t size);                     // NOLINT(*-reserved-identifier,cert-*)
void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT(*-reserved-identifier,cert-*)
}

namespace {

/// Which allocation of the module fails. Those that the libraries below make for the module are the module's; those of the
/// host's services, which the module calls, are not.
struct Scarcity {
  /// 1: the next one; 0: none.
  int nth = 0;
  bool has_failed = false;
  bool looking = false;
  const void* module_base = nullptr;
};
thread_local Scarcity scarcity;

const void* base_of(const void* address) {
  Dl_info info = {};
  return dladdr(address, &info) != 0 ? info.dli_fbase : nullptr;
}

/// What a walk up the stack has met above the allocation.
struct Walk {
  const void* caller;
  const void* program_base;
  bool below_caller = true;
  bool is_module = false;
};

_Unwind_Reason_Code step(_Unwind_Context* context, void* data) {
  Walk& walk = *static_cast<Walk*>(data);
  const void* address = reinterpret_cast<const void*>(_Unwind_GetIP(context));
  if (walk.below_caller && address != walk.caller) return _URC_NO_REASON;
  walk.below_caller = false;
  const void* base = base_of(address);
  if (base == walk.program_base) return _URC_END_OF_STACK;
  walk.is_module = base == scarcity.module_base;
  return walk.is_module ? _URC_END_OF_STACK : _URC_NO_REASON;
}

bool fails(const void* caller) {
  if (scarcity.nth == 0 || scarcity.looking) return false;
  scarcity.looking = true;
  Walk walk{caller, base_of(reinterpret_cast<const void*>(&fails))};
  _Unwind_Backtrace(step, &walk);
  scarcity.looking = false;
  if (!walk.is_module || --scarcity.nth > 0) return false;
  scarcity.has_failed = true;
  return true;
}

}  // namespace

// The parameters have the names that the C library gives them.
extern "C" {

void* malloc(std::size_t size) { return fails(__builtin_return_address(0)) ? nullptr : __libc_malloc(size); }

void* calloc(std::size_t nmemb, std::size_t size) {
  return fails(__builtin_return_address(0)) ? nullptr : __libc_calloc(nmemb, size);
}
}

namespace {

using standin::HostedCamera;
using standin::RayAnswer;
using test_support::all_cameras;
using test_support::CameraFacts;
using test_support::Stage;
using test_support::ValueFacts;

/// Runs `action` without the module's n-th piece of memory; nothing but the failure of `new` may come out of it, and that only
/// where it `may_throw`. Returns whether there was an n-th one.
template <class Action>
bool without_memory(const Stage& stage, int nth, Action action, bool may_throw = false) {
  const void* base = base_of(reinterpret_cast<const void*>(stage.module.library().find("Startup")));
  EXPECT_NE(base, nullptr);
  scarcity = {.nth = nth, .module_base = base};
  bool has_thrown = false;
  try {
    action();
  } catch (const std::bad_alloc&) {
    has_thrown = true;
  }
  scarcity.nth = 0;
  EXPECT_TRUE(may_throw || !has_thrown) << "an exception left a callback";
  return scarcity.has_failed;
}

/// Calls `attempt` with 1, 2, 3 and so on until it returns that there was no such allocation. Returns how many there were.
template <class Attempt>
int at_every_allocation(Attempt attempt) {
  for (int nth = 1; nth < 1000; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    if (!attempt(nth)) return nth - 1;
    if (testing::Test::HasFatalFailure()) break;
  }
  ADD_FAILURE() << "there is no end of it";
  return 0;
}

std::vector<RayAnswer> rays(const HostedCamera& camera) {
  std::vector<RayAnswer> answers;
  for (int row = -2; row <= 2; ++row)
    for (int column = -3; column <= 3; ++column)
      for (const double time : {0.0, 0.3, 1.0})
        answers.push_back(camera.evaluate({.film_x = column * 0.0049, .film_y = row * 0.0051, .fractional_time = time}));
  return answers;
}

void expect_same(const std::vector<RayAnswer>& answers, const std::vector<RayAnswer>& expected) {
  ASSERT_EQ(answers.size(), expected.size());
  for (std::size_t i = 0; i < answers.size(); ++i) {
    ASSERT_EQ(answers[i].result, expected[i].result) << "ray " << i;
    if (expected[i].result == LWCAMEVAL_NONE) continue;
    ASSERT_EQ(answers[i].position, expected[i].position) << "ray " << i;
    ASSERT_EQ(answers[i].direction, expected[i].direction) << "ray " << i;
  }
}

/// A camera that moves and turns all the time, in the middle of a scene of others.
standin::Scene moving_scene() {
  standin::Scene scene = test_support::test_scene();
  for (standin::Item& item : scene.items) {
    if (item.kind != standin::ItemKind::camera) continue;
    for (std::size_t channel = 0; channel < 6; ++channel)
      item.motion[channel].keys = {{0.1 * static_cast<double>(channel), 0.0, standin::Span::linear, {}},
                                   {2.0 + static_cast<double>(channel), 1.0, standin::Span::linear, {}}};
  }
  return scene;
}

constexpr standin::FrameOptions blurred{.motion_blur = true, .motion_steps = 5};

class Allocation : public testing::TestWithParam<CameraFacts> {
 protected:
  /// Every camera that shows others shows some.
  static void choose(HostedCamera& camera) {
    if (!GetParam().looks_through_other_cameras) return;
    int choice = 0;
    for (const standin::PanelHint* hint : camera.panel().hints_of(LWXPTAG_POPFUNCS))
      camera.panel().set_integer(hint->control(), ++choice);
  }

  std::unique_ptr<HostedCamera> create(Stage& stage, const std::string& item = "Camera") const {
    return stage.create(facts.server_name, item);
  }

  /// The rays of a frame, of a camera that has always had memory.
  std::vector<RayAnswer> rays_of_frame(Stage& stage, int frame) const {
    const auto camera = create(stage);
    choose(*camera);
    camera->init_render(LWRM_RENDER);
    camera->begin_frame(frame, blurred);
    return rays(*camera);
  }

  /// Does everything that a host does with a camera, and has the rays that it should have.
  void expect_works(Stage& stage, HostedCamera& camera) const {
    choose(camera);
    camera.init_render(LWRM_RENDER);
    for (const int frame : {2, 3}) {
      camera.begin_frame(frame, blurred);
      expect_same(rays(camera), rays_of_frame(stage, frame));
    }
    camera.clean_up();
  }

  const CameraFacts& facts = GetParam();
  test_support::LinkFolder folder;
};

INSTANTIATE_TEST_SUITE_P(EveryCamera, Allocation, testing::ValuesIn(all_cameras()),
                         [](const auto& each) { return each.param.server_name; });

TEST_P(Allocation, FailsDuringCreationAndNothingIsLeft) {
  const int places = at_every_allocation([&](int nth) {
    Stage stage(moving_scene());
    const auto first = create(stage);
    const LWCameraHandler& handler = first->handler();
    const std::size_t before = stage.host.parameters.table.alive();
    LWInstance made = nullptr;
    LWError error = nullptr;
    const LWItemID item = stage.host.id_of("Other 1");
    const bool failed = without_memory(
        stage, nth, [&] { made = handler.inst->create(handler.inst->priv, item, &error); }, true);
    EXPECT_EQ(made == nullptr, failed);
    EXPECT_EQ(stage.host.parameters.table.alive(), before + (failed ? 0 : facts.channels.size()));
    if (made != nullptr) handler.inst->destroy(made);
    expect_works(stage, *first);
    expect_works(stage, *create(stage));
    return failed;
  });
  EXPECT_GE(places, 1);
}

TEST_P(Allocation, FailsDuringACopyAndTheTargetIsWhatItWasOrACopy) {
  const std::vector<std::string> settings = test_support::as_text(test_support::distinct_settings(facts));
  at_every_allocation([&](int nth) {
    Stage stage(moving_scene());
    const auto source = create(stage);
    source->load_text(settings);
    source->begin_frame(1, blurred);
    const auto target = create(stage);
    choose(*target);
    target->init_render(LWRM_RENDER);
    target->begin_frame(1, blurred);
    const std::vector<std::string> own = target->save_text();
    const std::vector<RayAnswer> own_rays = rays(*target);
    LWError error = nullptr;
    const bool failed = without_memory(stage, nth, [&] { error = target->handler().inst->copy(target->raw(), source->raw()); });
    EXPECT_TRUE(failed || error == nullptr);
    if (error != nullptr) {
      EXPECT_EQ(target->save_text(), own);
      expect_same(rays(*target), own_rays);
      target->copy_from(*source);
    }
    EXPECT_EQ(target->save_text(), settings);
    EXPECT_EQ(source->save_text(), settings);
    target->copy_from(*create(stage));
    expect_works(stage, *target);
    return failed;
  });
}

TEST_P(Allocation, FailsWhileSettingsAreLoadedAndSavedAndNothingIsLost) {
  const std::vector<std::string> settings = test_support::as_text(test_support::distinct_settings(facts));
  const std::vector<std::uint8_t> bytes = test_support::as_binary(test_support::distinct_settings(facts));
  at_every_allocation([&](int nth) {
    Stage stage(moving_scene());
    const auto camera = create(stage);
    camera->panel();
    std::vector<std::string> text;
    const bool failed = without_memory(stage, nth, [&] {
      camera->load_text(settings);
      text = camera->save_text();
      camera->load_binary(bytes);
    });
    EXPECT_EQ(text, settings);
    EXPECT_EQ(camera->save_text(), settings);
    EXPECT_EQ(camera->save_binary(), bytes);
    return failed;
  });
}

TEST_P(Allocation, FailsDuringAFrameAndItsRaysAreRightOrTheHostIsTold) {
  int told = 0;
  const int places = at_every_allocation([&](int nth) {
    Stage stage(moving_scene());
    const std::vector<RayAnswer> expected = rays_of_frame(stage, 1);
    folder.remove();
    const auto camera = create(stage);
    choose(*camera);
    camera->init_render(LWRM_RENDER);
    camera->begin_frame(0, blurred);
    rays(*camera);
    bool complained = false;
    std::vector<RayAnswer> answers;
    const bool failed = without_memory(stage, nth, [&] {
      camera->init_render(LWRM_RENDER);
      try {
        camera->begin_frame(1, blurred);
      } catch (const std::runtime_error& error) {
        complained = true;
        EXPECT_NE(std::string(error.what()).find("memory"), std::string::npos) << error.what();
      }
      answers = rays(*camera);
      camera->project({0.1, 0.2, 5.0}, 0.3);
      LWDMatrix4 matrix{};
      camera->preview(matrix);
      standin::GizmoDrawing drawing;
      camera->draw_gizmo(drawing);
    });
    EXPECT_TRUE(failed || !complained);
    if (!complained) expect_same(answers, expected);
    told += complained ? 1 : 0;
    // The same frame once more, now that there is memory.
    camera->begin_frame(1, blurred);
    expect_same(rays(*camera), expected);
    camera->clean_up();
    expect_works(stage, *camera);
    return failed;
  });
  // The others keep no samples of their own, but what a camera publishes takes memory, too.
  const bool samples_its_frames = !facts.looks_through_other_cameras && facts.server_name != "QuorinSkyboxCam";
  EXPECT_EQ(told > 0, samples_its_frames);
  EXPECT_LE(told, places);
}

TEST_P(Allocation, FailsInThePanelAndTheNextPanelIsWhole) {
  at_every_allocation([&](int nth) {
    Stage stage(moving_scene());
    const auto camera = create(stage);
    const standin::Server& server = stage.module.server(LWCAMERA_INTERFACE_CLASS, facts.server_name);
    LWInterface local{};
    local.inst = camera->raw();
    const auto use = [&](const standin::Panel& panel) {
      for (const ValueFacts& value : facts.values)
        EXPECT_EQ(panel.get(value.id) == nullptr, value.kind == ValueFacts::Kind::none);
      for (const standin::PanelControl& control : panel.controls) panel.choices(control.id);
      for (const standin::PanelHint* hint : panel.hints_of(LWXPTAG_DRAWCALLBACK)) panel.draw(hint->control(), 320, 150);
      for (const ValueFacts& value : facts.values)
        if (value.kind == ValueFacts::Kind::word) panel.set_integer(value.id, 1);
    };
    const bool failed = without_memory(stage, nth, [&] {
      ASSERT_EQ(stage.module.activate(server, LWCAMERA_INTERFACE_VERSION, &local), AFUNC_OK);
      if (local.panel != nullptr) use(*stage.host.panels.table.find(local.panel));
    });
    // A panel of the same instance beside it, while it is open and when it is closed.
    use(camera->panel());
    camera->load_text(camera->save_text());
    if (local.panel != nullptr) EXPECT_TRUE(stage.host.panels.destroy(local.panel));
    camera->load_text(camera->save_text());
    camera->copy_from(*create(stage));
    expect_works(stage, *camera);
    return failed;
  });
}

TEST(AllocationOfTheLink, FailsAndTheFileStaysWhole) {
  const test_support::LinkFolder folder;
  Stage stage;
  auto* write = stage.module.library().find_as<decltype(QrmLink_Write)>("QrmLink_Write");
  auto* read = stage.module.library().find_as<decltype(QrmLink_Read)>("QrmLink_Read");
  ASSERT_NE(write, nullptr);
  ASSERT_NE(read, nullptr);
  const std::string plugin(200, 'p');
  double last = 1.0;
  ASSERT_EQ(write(plugin.c_str(), "v", "b", last, last, last, last), 1);
  int refused = 0;
  const int places = at_every_allocation([&](int nth) {
    int written = 0;
    QrmLinkRecord record = {};
    const double next = last + 1.0;
    const bool write_failed =
        without_memory(stage, nth, [&] { written = write(plugin.c_str(), "v", "b", next, next, next, next); });
    EXPECT_EQ(written, write_failed ? 0 : 1);
    refused += 1 - written;
    if (written == 1) last = next;
    EXPECT_EQ(read(&record), 1);
    EXPECT_EQ(record.iso, last);
    EXPECT_FALSE(std::filesystem::exists(folder.file().string() + ".tmp"));
    const bool read_failed = without_memory(stage, nth, [&] { read(&record); });
    // The C library can do without a buffer, but not without the stream.
    if (!read_failed || record.version == 1)
      EXPECT_EQ(record.iso, last);
    else
      EXPECT_EQ(record.version, -1);
    EXPECT_EQ(read(&record), 1);
    return write_failed || read_failed;
  });
  EXPECT_GE(places, 1);
  EXPECT_GE(refused, 1);
}

TEST(AllocationOfTheModule, FailsAtItsStart) {
  Stage stage;
  auto* start_up = stage.module.library().find_as<void*()>("Startup");
  auto* shut_down = stage.module.library().find_as<void(void*)>("Shutdown");
  ASSERT_NE(start_up, nullptr);
  ASSERT_NE(shut_down, nullptr);
  void* block = &stage;
  EXPECT_TRUE(without_memory(stage, 1, [&] { block = start_up(); }));
  EXPECT_EQ(block, nullptr);
  shut_down(block);
  // A host may go on with what it got.
  for (const CameraFacts& facts : all_cameras()) {
    LWInstanceFuncs instance{};
    LWCameraHandler handler{};
    handler.inst = &instance;
    const standin::Server& server = stage.module.server(LWCAMERA_HANDLER_CLASS, facts.server_name);
    EXPECT_EQ(server.activate(LWCAMERA_HANDLER_VERSION, standin::Host::global(), &handler, nullptr), AFUNC_OK);
    const LWInstance made = instance.create(nullptr, stage.host.id_of("Camera"), nullptr);
    ASSERT_NE(made, nullptr);
    instance.destroy(made);
  }
}

}  // namespace
