#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <memory>
#include <set>
#include <string>

#include "standin/validate/checks.h"
#include "standin/validate/stage.h"

namespace standin::validate {
namespace {

/// What the panel shows that is no envelope.
std::vector<double> plain_values(Instance& camera) {
  std::vector<double> values;
  const Panel* panel = camera.panel();
  if (panel == nullptr) return values;
  for (const PanelData& row : panel->data) {
    const Call call("a panel's value", {static_cast<double>(row.id)});
    if (panel->get(row.id) == nullptr) continue;
    if (row.type == "integer") values.push_back(panel->get_integer(row.id));
    if (row.type == "float") values.push_back(panel->get_float(row.id));
  }
  return values;
}

std::size_t handles(const Host& host) {
  return host.parameters.table.alive() + host.panels.table.alive() + host.evaluators.table.alive();
}

// --- lifecycle

void check_lifecycle(Context& context) {
  Stage stage(context);
  const std::size_t before = handles(stage.host);
  std::size_t in_one = 0;
  const int rounds = context.times(1000);
  for (int round = 0; round < rounds; ++round) {
    Instance camera(stage, round % 2 == 0 ? "Camera" : "Other 1");
    if (round == 0) in_one = handles(stage.host) - before;
    context.expect(handles(stage.host) - before == in_one,
                   "create: a later instance takes another number of the host's handles");
    if (round % 8 == 0) camera.draw_gizmo();
    if (round % 16 == 0) {
      camera.randomise();
      camera.prepare();
      camera.evaluate(random_query(context, camera.access()));
      if (round % 32 == 0) camera.clean_up();
    }
    camera.destroy();
    context.expect(handles(stage.host) == before, "destroy: the host's handles of an instance are left behind");
    if (context.failed()) return;
  }
  context.numbers["instances"] = rounds;

  // Many at once, which end in another order than they began.
  std::vector<std::unique_ptr<Instance>> living;
  std::set<LWInstance> addresses;
  for (int i = 0; i < 20; ++i) {
    living.push_back(std::make_unique<Instance>(stage, "Other " + std::to_string(1 + i % 4)));
    context.expect(addresses.insert(living.back()->raw()).second, "create: two living cameras have one instance");
  }
  if (context.failed()) {
    for (auto& instance : living) instance->abandon();
    return;
  }
  std::ranges::shuffle(living, context.random);
  living.clear();
  context.expect(handles(stage.host) == before, "destroy: the host's handles of an instance are left behind");

  // A host that has no room for another parameter.
  for (int nth = 1; nth <= static_cast<int>(in_one) + 1; ++nth) {
    stage.host.parameters.refusal.arm(nth);
    Instance camera(stage);
    stage.host.parameters.refusal.arm(0);
    camera.prepare();
    camera.evaluate(random_query(context, camera.access()));
    camera.save_binary();
    camera.clean_up();
  }
  context.expect(handles(stage.host) == before, "create: after a refused parameter, handles are left behind");
}

// --- copy

void check_copy(Context& context) {
  Stage stage(context);
  for (int round = 0; round < context.times(10); ++round) {
    Instance source(stage);
    source.randomise();
    Instance target(stage);
    // From every state into every state: new, timed, with samples, after a render.
    const auto advance = [&](Instance& camera) {
      const int steps = context.index(4);
      if (steps >= 1) camera.new_time(2, 0.1);
      if (steps >= 2) camera.prepare(2, 5);
      if (steps >= 3) camera.clean_up();
    };
    advance(source);
    advance(target);
    context.expect(target.copy_from(source) == nullptr, "copy: it is refused");
    context.expect(target.save_binary() == source.save_binary(), "copy: the copy saves something else than the original");
    context.expect(plain_values(target) == plain_values(source),
                   "copy: the copy's panel shows something else than the original's");

    const std::vector<std::uint8_t> original = source.save_binary();
    context.expect(source.copy_from(source) == nullptr, "copy: onto itself it is refused");
    context.expect(source.save_binary() == original, "copy: onto itself it changes the instance");

    // With the same frame, the copy gives the same rays.
    source.prepare(3, 4);
    target.prepare(3, 4);
    for (int i = 0; i < 50; ++i) {
      const RayQuery query = random_query(context, source.access());
      context.expect(source.evaluate(query) == target.evaluate(query), "copy: the copy gives other rays than the original");
    }
    // They share nothing. The frame may have brought values of the envelopes into the state.
    const std::vector<std::uint8_t> rendered = source.save_binary();
    for (VariantParameter* parameter : target.parameters()) parameter->set_constant(parameter->at(0.0) + 1.0);
    if (Panel* panel = target.panel())
      for (const PanelData& row : panel->data)
        if (row.type == "integer") panel->set_integer(row.id, 0);
    context.expect(source.save_binary() == rendered, "copy: a change of the copy changes the original");
    source.clean_up();
    target.clean_up();
  }
  Instance camera(stage);
  const Call call("copy with null");
  context.expect(camera.functions().copy(camera.raw(), nullptr) != nullptr, "copy: from no instance it is not refused");
  context.expect(camera.functions().copy(nullptr, camera.raw()) != nullptr, "copy: to no instance it is not refused");
}

// --- state

std::vector<std::string> all_servers(const Stage& stage) {
  std::vector<std::string> names;
  for (const Server& server : stage.module().servers())
    if (server.class_name == LWCAMERA_HANDLER_CLASS) names.push_back(server.name);
  return names;
}

void expect_complete(Context& context, LoadState& state) {
  context.expect(state.at_end(), "load: values of the camera's own state are left unread");
  context.expect(state.short_reads() == 0, "load: it reads past the end of the camera's own state");
}

void check_round_trip(Stage& stage, bool animated) {
  Context& context = stage.context;
  Instance saved(stage);
  saved.randomise();
  if (animated)
    for (VariantParameter* parameter : saved.parameters()) {
      const double value = parameter->at(0.0);
      parameter->set_keys({{0.0, value}, {0.3, value * context.uniform(0.5, 1.5)}, {1.0, value + 0.125}});
    }
  const std::vector<std::uint8_t> bytes = saved.save_binary();
  const std::vector<std::string> lines = saved.save_text();
  context.expect(saved.save_binary() == bytes && saved.save_text() == lines, "save: the second time it saves something else");

  Instance from_binary(stage, "Other 1");
  LoadState binary(bytes);
  context.expect(from_binary.load(binary) == nullptr, "load: the camera's own state is refused");
  expect_complete(context, binary);
  context.expect(from_binary.save_binary() == bytes, "load and save: the binary state is not the same bit for bit");
  context.expect(from_binary.save_text() == lines, "load and save: the text is not the same after binary loading");

  Instance from_text(stage, "Other 2");
  LoadState text(lines);
  context.expect(from_text.load(text) == nullptr, "load: the camera's own state is refused");
  expect_complete(context, text);
  context.expect(from_text.save_text() == lines, "load and save: the text is not the same");
  context.expect(from_text.save_binary() == bytes, "load and save: the binary state is not the same after loading text");
}

/// Where the value of every control ends up that a person can change: in the state, or it is lost.
void check_nothing_lost(Stage& stage) {
  Context& context = stage.context;
  Instance probe(stage);
  Panel* panel = probe.panel();
  if (panel == nullptr) return;
  Instance reader(stage);
  for (const PanelData& row : panel->data) {
    if (row.type != "integer" || panel->get(row.id) == nullptr) continue;
    const int present = panel->get_integer(row.id);
    panel->set_integer(row.id, present == 1 ? 0 : 1);
    if (panel->get_integer(row.id) == present) continue;
    LoadState state(probe.save_binary());
    reader.load(state);
    Panel* read = reader.panel();
    context.expect(read->get_integer(row.id) == panel->get_integer(row.id),
                   "save: what the control " + std::to_string(row.id) + " sets is not in the state");
  }
}

void check_damaged_states(Stage& stage) {
  Context& context = stage.context;
  Instance saved(stage);
  saved.randomise();
  const std::vector<std::uint8_t> bytes = saved.save_binary();
  const std::vector<std::string> lines = saved.save_text();
  const auto use = [&](Instance& camera) {
    camera.save_binary();
    camera.save_text();
    camera.prepare();
    camera.evaluate(random_query(context, camera.access()));
    camera.clean_up();
  };
  // Cut off behind every value. What is missing is not made up.
  for (std::size_t size = 0; size < bytes.size(); size += 4) {
    Instance camera(stage);
    const std::vector<std::uint8_t> own = camera.save_binary();
    LoadState state(std::vector<std::uint8_t>(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)));
    camera.load(state);
    if (size == 0) context.expect(camera.save_binary() == own, "load: an empty state changes the instance");
    use(camera);
  }
  for (std::size_t count = 0; count < lines.size(); ++count) {
    Instance camera(stage);
    LoadState state(std::vector<std::string>(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(count)));
    camera.load(state);
    use(camera);
  }
  for (int round = 0; round < context.times(50); ++round) {
    Instance camera(stage);
    std::vector<std::uint8_t> damaged = bytes;
    if (damaged.empty() || round % 3 == 0) damaged.resize(static_cast<std::size_t>(context.index(300)));
    for (std::uint8_t& byte : damaged)
      if (round % 3 != 1 || context.index(8) == 0) byte = static_cast<std::uint8_t>(context.index(256));
    LoadState state(damaged);
    camera.load(state);
    use(camera);

    std::vector<std::string> text = lines;
    constexpr std::array odd_lines{"",
                                   "nan",
                                   "-inf",
                                   "1e999",
                                   "{ VParm",
                                   "}",
                                   "{ X",
                                   "{",
                                   "-2147483648",
                                   "4294967296",
                                   "0x7FFFFFFFFFFFFFF",
                                   "  \"text\"",
                                   "{ Envelope",
                                   "Key 1 nan 0 0 0 0 0 0 0"};
    for (int change = 0; change < 4; ++change) {
      const std::string line = odd_lines[static_cast<std::size_t>(context.index(odd_lines.size()))];
      if (text.empty() || context.index(2) == 0)
        text.insert(text.begin() + context.index(static_cast<int>(text.size()) + 1), line);
      else
        text[static_cast<std::size_t>(context.index(static_cast<int>(text.size())))] = line;
    }
    Instance reader(stage, "Other 1");
    LoadState broken(text);
    reader.load(broken);
    use(reader);
  }
  // What another camera has saved.
  for (const std::string& name : all_servers(stage)) {
    if (name == context.server) continue;
    Instance other(stage, "Other 2", name);
    other.randomise();
    Instance camera(stage);
    LoadState binary(other.save_binary());
    camera.load(binary);
    LoadState text(other.save_text());
    camera.load(text);
    use(camera);
  }
}

void check_state(Context& context) {
  Stage stage(context);
  for (int round = 0; round < context.times(20); ++round) check_round_trip(stage, round % 2 == 1);
  check_nothing_lost(stage);
  check_damaged_states(stage);
}

// --- reproducibility

void add_rays(Context& context, const std::vector<Ray>& rays) {
  for (const Ray& ray : rays) {
    context.add_to_digest(&ray.result, sizeof ray.result);
    if (ray.result != 0) context.add_to_digest(ray.words.data(), sizeof ray.words);
  }
}

void check_reproducibility(Context& context) {
  Stage stage(context);
  for (int round = 0; round < context.times(10); ++round) {
    Instance first(stage);
    first.randomise();
    first.prepare(2, 5);
    std::vector<RayQuery> queries(200);
    for (RayQuery& query : queries) query = random_query(context, first.access());
    const auto rays_of = [&](Instance& camera) {
      std::vector<Ray> rays(queries.size());
      std::ranges::transform(queries, rays.begin(), [&](const RayQuery& query) { return camera.evaluate(query); });
      return rays;
    };
    const std::vector<Ray> rays = rays_of(first);
    add_rays(context, rays);
    context.expect(rays_of(first) == rays, "evaluate: the second time, the same inputs give other rays");
    std::vector<Ray> backwards(queries.size());
    for (std::size_t i = queries.size(); i > 0; --i) backwards[i - 1] = first.evaluate(queries[i - 1]);
    context.expect(backwards == rays, "evaluate: in another order, the same inputs give other rays");

    Instance loaded(stage);
    LoadState state(first.save_binary());
    loaded.load(state);
    loaded.prepare(2, 5);
    const LoadState unread(first.save_binary());
    Instance reloaded(stage);
    LoadState again(loaded.save_binary());
    reloaded.load(again);
    reloaded.prepare(2, 5);
    context.expect(rays_of(loaded) == rays_of(reloaded), "evaluate: after saving and loading, the same inputs give other rays");
    context.expect(rays_of(first) == rays, "evaluate: another instance changes the rays of the first");
    // A frame rendered after others is the same as one rendered alone.
    first.prepare(7, 3);
    rays_of(first);
    first.prepare(2, 5);
    context.expect(rays_of(first) == rays, "evaluate: after another frame, the same inputs give other rays");
    first.clean_up();
    loaded.clean_up();
    reloaded.clean_up();
  }
}

}  // namespace

const std::vector<Test>& instance_checks() {
  static const std::vector<Test> checks{
      {"lifecycle", "instances come and go, and leave nothing of the host's behind", true, false, check_lifecycle},
      {"copy", "copies are equal and share nothing, whatever state they are made in", true, false, check_copy},
      {"state", "what is saved is loaded bit for bit, and damaged states do no harm", true, false, check_state},
      {"reproducibility", "the same inputs give the same bits, in every instance and process", true, true,
       check_reproducibility},
  };
  return checks;
}

}  // namespace standin::validate
