#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "standin/validate/checks.h"
#include "standin/validate/machine.h"
#include "standin/validate/stage.h"

namespace standin::validate {
namespace {

std::vector<std::string> handler_names(const Module& module) {
  std::vector<std::string> names;
  for (const Server& server : module.servers())
    if (server.class_name == LWCAMERA_HANDLER_CLASS) names.push_back(server.name);
  return names;
}

/// A short life of one camera of every server.
void use_module(Stage& stage) {
  Context& context = stage.context;
  for (const std::string& name : handler_names(stage.module())) {
    Instance camera(stage, "Camera", name);
    camera.panel();
    camera.prepare(1, 3);
    for (int i = 0; i < 5; ++i) camera.evaluate(random_query(context, camera.access()));
    camera.draw_gizmo();
    camera.save_binary();
    camera.clean_up();
  }
}

// --- quiet

/// The text of what the module has printed ends up in this process's standard output and error, which are files.
void check_quiet(Context& context) {
  const auto size = [&](const char* name) {
    std::error_code ignored;
    const auto bytes = std::filesystem::file_size(context.work_folder / name, ignored);
    return ignored ? 0 : bytes;
  };
  const auto output = size("output");
  const auto errors = size("errors");
  {
    Stage stage(context);
    use_module(stage);
  }
  static_cast<void>(std::fflush(nullptr));
  context.expect(size("output") == output, "The module writes to standard output");
  context.expect(size("errors") == errors, "The module writes to standard error");
}

// --- reload

void check_reload(Context& context) {
  const auto once = [&] {
    Stage stage(context);
    use_module(stage);
  };
  const std::vector<std::uintptr_t> handlers = footprint().handlers;
  // What libraries of the system keep for ever is there after the first times.
  constexpr int rounds_to_settle = 3;
  for (int round = 0; round < rounds_to_settle; ++round) once();
  const Footprint before = footprint();
  const int rounds = context.times(100);
  // What grows once, such as the system's list of libraries, does so in the first half, or in some parts of the second. Each
  // part has at least one round.
  constexpr int parts = 5;
  const auto rounds_until = [rounds](int part) { return rounds / 2 + (rounds - rounds / 2) * part / parts; };
  std::vector<double> heap_bytes;
  for (int round = 1; round <= rounds && !context.failed(); ++round) {
    once();
    if (round != rounds_until(static_cast<int>(heap_bytes.size()))) continue;
    if (const auto bytes = footprint().heap_bytes) heap_bytes.push_back(static_cast<double>(*bytes));
  }
  const Footprint after = footprint();
  context.expect(!is_loaded(context.module_file), "After unloading, the module is still in memory");
  context.expect(after.threads <= before.threads, "After unloading, threads of the module go on");
  context.expect(after.open_files <= before.open_files, "After unloading, files of the module are still open");
  context.expect(after.handlers == handlers, "After unloading, a handler of signals or exceptions is left behind");
  context.numbers["times loaded"] = rounds;
  if (heap_bytes.size() <= parts) return;
  double growth = std::numeric_limits<double>::infinity();
  for (int part = 0; part < parts; ++part) {
    const auto before_part = heap_bytes.begin() + part;
    growth = std::min(growth, (before_part[1] - before_part[0]) / (rounds_until(part + 1) - rounds_until(part)));
  }
  context.numbers["bytes kept per loading"] = growth;
  constexpr double most_bytes = 256;
  context.expect(growth < most_bytes, "After unloading, memory of the module is left behind");
}

// --- shutdown

/// A host that ends does not always destroy what is alive.
void check_shutdown(Context& context) {
  Stage stage(context);
  stage.forgive();
  std::vector<std::unique_ptr<Instance>> living;
  for (const std::string& name : handler_names(stage.module())) {
    living.push_back(std::make_unique<Instance>(stage, "Camera", name));
    living.back()->randomise();
    living.back()->prepare();
    living.back()->evaluate(random_query(context, living.back()->access()));
  }
  for (auto& instance : living) instance->abandon();
  living.clear();
  stage.unload();
  context.expect(!is_loaded(context.module_file), "After unloading with living instances, the module is still in memory");
}

// --- two-modules

/// Two files of the module in one host keep out of each other's way.
void check_two_modules(Context& context) {
  const std::filesystem::path folder = context.work_folder / "copy";
  std::filesystem::create_directory(folder);
  // A module may come with files that it needs beside it.
  const std::filesystem::path copy = folder / context.module_file.filename();
  std::filesystem::copy_file(context.module_file, copy, std::filesystem::copy_options::overwrite_existing);
  {
    Stage stage(context);
    struct Witness {
      std::unique_ptr<Instance> camera;
      std::vector<RayQuery> queries;
      std::vector<Ray> rays;
    };
    std::vector<Witness> witnesses;
    for (const std::string& name : handler_names(stage.module())) {
      Witness& witness = witnesses.emplace_back();
      witness.camera = std::make_unique<Instance>(stage, "Camera", name);
      witness.camera->randomise();
      witness.camera->prepare(1, 3);
      for (int i = 0; i < 20; ++i) {
        witness.queries.push_back(random_query(context, witness.camera->access()));
        witness.rays.push_back(witness.camera->evaluate(witness.queries.back()));
      }
    }
    const auto expect_same_rays = [&](const std::string& what) {
      for (const Witness& witness : witnesses)
        for (std::size_t i = 0; i < witness.queries.size(); ++i)
          context.expect(witness.camera->evaluate(witness.queries[i]) == witness.rays[i],
                         what + " changes the rays of the first");
    };
    {
      const Call call("loading, use and unloading of a second module");
      const Module second(copy);
      context.expect(&second.descriptor() != &stage.module().descriptor(), "A copy of the module is not loaded as another one");
      for (const Server& server : second.servers()) {
        if (server.class_name != LWCAMERA_HANDLER_CLASS) continue;
        HandlerRecords records;
        server.activate(LWCAMERA_HANDLER_VERSION, Stage::global(), &*records.handler, second.server_data());
        LWError error = nullptr;
        LWInstance instance = records.instance->create(records.instance->priv, stage.host.id_of("Other 1"), &error);
        if (instance != nullptr) records.instance->destroy(instance);
      }
      expect_same_rays("A second module");
    }
    expect_same_rays("The end of a second module");
    for (const Witness& witness : witnesses) witness.camera->clean_up();
  }
  std::filesystem::remove_all(folder);
}

}  // namespace

const std::vector<Test>& loading_checks() {
  static const std::vector<Test> checks{
      {"quiet", "nothing is written to standard output and error", false, false, check_quiet},
      {"reload", "loaded, used and unloaded again and again, nothing of the module is left behind", false, false, check_reload},
      {"shutdown", "the module ends with living instances", false, false, check_shutdown, true},
      {"two-modules", "two files of the module in one host keep out of each other's way", false, false, check_two_modules},
  };
  return checks;
}

}  // namespace standin::validate
