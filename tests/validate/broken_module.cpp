/// A module that passes every call on to the real one, whose file OVICAM_REAL_MODULE names, and makes one mistake on the way:
/// the one that OVICAM_FAULT names; none without it.

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <limits>
#include <pthread.h>
#include <string_view>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <unordered_set>
#include <utility>
#include <vector>

#include "sdk/host.h"

namespace {

constexpr std::size_t most_servers = 64;

std::string_view text_of(const char* variable) {
  const char* text = std::getenv(variable);
  return text != nullptr ? text : "";
}

/// The mistake that this process makes.
bool fault(std::string_view name) {
  static const std::string_view chosen = text_of("OVICAM_FAULT");
  return chosen == name;
}

/// Ends as a module does that reads where nothing is.
[[noreturn]] void crash() {
  static_cast<void>(std::raise(SIGSEGV));
  std::abort();
}

/// A copy of its own: another proxy in this process has another real module, and may go before or after this one.
void* open_a_copy() {
  std::array<char, 64> name{"/tmp/ovicam-broken-module-XXXXXX"};
  const int copy = mkstemp(name.data());
  const int real = open(text_of("OVICAM_REAL_MODULE").data(), O_RDONLY | O_CLOEXEC);
  struct stat facts {};
  const bool whole = copy >= 0 && real >= 0 && fstat(real, &facts) == 0 &&
                     sendfile(copy, real, nullptr, static_cast<std::size_t>(facts.st_size)) == facts.st_size;
  close(real);
  close(copy);
  void* handle = whole ? dlopen(name.data(), RTLD_NOW | RTLD_LOCAL) : nullptr;
  unlink(name.data());
  return handle;
}

struct RealModule {
  void* handle = open_a_copy();
  const ModuleDescriptor* descriptor =
      handle != nullptr ? static_cast<const ModuleDescriptor*>(dlsym(handle, "_mod_descrip")) : nullptr;
  ~RealModule() {
    if (handle != nullptr) dlclose(handle);
  }
  RealModule() = default;
  RealModule(const RealModule&) = delete;
  RealModule& operator=(const RealModule&) = delete;
};

RealModule& real_module() {
  static RealModule real;
  return real;
}

// --- What the host offers, as the real module gets to see it.

GlobalFunc* host_global = nullptr;

template <class Table>
Table* host_table(const char* service) {
  return static_cast<Table*>(host_global(service, GFUSE_TRANSIENT));
}

/// The host's own table unless the mistake changes it: the real module keeps what it is given, and may outlive this file.
template <class Table>
void* changed(const char* service, void (*change)(Table&)) {
  static Table table;
  auto* own = host_table<Table>(service);
  table = *own;
  change(table);
  return std::memcmp(static_cast<const void*>(&table), static_cast<const void*>(own), sizeof table) != 0 ? &table : own;
}

void* item_table() {
  return changed<LWItemInfo>(LWITEMINFO_GLOBAL, [](LWItemInfo& items) {
    if (fault("null name is read"))
      items.name = [](LWItemID item) {
        const char* name = host_table<LWItemInfo>(LWITEMINFO_GLOBAL)->name(item);
        static std::atomic<char> last_read;
        last_read = *name;
        return name;
      };
  });
}

void* parameter_table() {
  return changed<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL, [](LWVParmFuncs& parameters) {
    if (fault("parameter set up twice"))
      parameters.setup = [](LWVParmID id, const char* channel, LWChanGroupID group, void* context, void* event,
                            const char* plugin, void* data) {
        for (int i = 0; i < 2; ++i)
          host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL)->setup(id, channel, group, context, event, plugin, data);
      };
    if (fault("value read without a result"))
      parameters.getVal = [](LWVParmID id, LWTime time, void* micropolygon, double* result) {
        const double value = host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL)->getVal(id, time, micropolygon, nullptr);
        *result = value;
        return value;
      };
    if (fault("handle used after destroy"))
      parameters.destroy = [](LWVParmID id) {
        const LWVParmFuncs& host = *host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
        host.destroy(id);
        double result[3];
        host.getVal(id, 0.0, nullptr, result);
      };
  });
}

void* panel_table() {
  static LWXPDrawFuncs drawing;
  return changed<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL, [](LWXPanelFuncs& panels) {
    drawing = *panels.drawf;
    if (fault("drawing outside its area")) panels.drawf = &drawing;
    drawing.drawRGBBox = [](void* area, int red, int green, int blue, int x, int y, int width, int height) {
      host_table<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL)->drawf->drawRGBBox(area, red, green, blue, x, y, width + 1, height);
    };
    if (fault("hint words overwritten"))
      panels.hint = [](LWXPanelID panel, std::uint32_t control, void** hints) {
        std::array<void*, 512> copy;
        std::copy_n(hints, copy.size() / 4, copy.begin());
        host_table<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL)->hint(panel, control, copy.data());
        std::memset(copy.data(), 0, sizeof copy);
      };
    if (fault("popup counts one too many"))
      panels.hint = [](LWXPanelID panel, std::uint32_t control, void** hints) {
        static std::array<void*, 512> copy;
        static LWXPanelPopCountFunc* count;
        std::copy_n(hints, copy.size() / 4, copy.begin());
        for (std::size_t i = 0; i + 3 < copy.size(); ++i) {
          if (reinterpret_cast<std::uintptr_t>(copy[i]) != LWXPTAG_POPFUNCS) continue;
          count = reinterpret_cast<LWXPanelPopCountFunc*>(copy[i + 2]);
          copy[i + 2] = reinterpret_cast<void*>(+[](void* data) { return count(data) + 1; });
          break;
        }
        host_table<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL)->hint(panel, control, copy.data());
      };
    if (fault("control of an unknown class") || fault("two controls with one ID"))
      panels.create = [](int type, LWXPanelControl* controls) {
        std::vector<LWXPanelControl> copy;
        for (const LWXPanelControl* row = controls; row->id != 0; ++row) copy.push_back(*row);
        if (fault("control of an unknown class"))
          copy.back().controlClass = "no-such-class";
        else
          copy.push_back(copy.back());
        copy.push_back({});
        return host_table<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL)->create(type, copy.data());
      };
    if (fault("value of a wrong kind") || fault("value of a dead instance"))
      panels.describe = [](LWXPanelID panel, LWXPanelDataDesc* data, LWXPanelGetFunc* get, LWXPanelSetFunc* set) {
        static LWXPanelGetFunc* real_get;
        real_get = get;
        LWXPanelGetFunc* wrong_kind = [](void* instance, std::uint32_t id) -> void* {
          static double number = 0.5;
          void* value = real_get(instance, id);
          // A handle of the host's is no address.
          const bool is_handle = (reinterpret_cast<std::uintptr_t>(value) >> 48) != 0;
          return is_handle ? static_cast<void*>(&number) : value;
        };
        LWXPanelGetFunc* of_dead = [](void* instance, std::uint32_t id) {
          void* value = real_get(instance, id);
          // The real module has no value for an instance that it does not know.
          if (value == nullptr && id > 0x8000 && id < 0x9000) crash();
          return value;
        };
        host_table<LWXPanelFuncs>(LWXPANELFUNCS_GLOBAL)
            ->describe(panel, data, fault("value of a wrong kind") ? wrong_kind : of_dead, set);
      };
  });
}

void* evaluator_table() {
  return changed<LWCameraEvaluationFuncs>(LWCAMERAEVALUATION_GLOBAL, [](LWCameraEvaluationFuncs& evaluators) {
    if (fault("evaluator used before newFrame")) evaluators.newFrame = [](LWCameraEvaluatorID) -> LWError { return nullptr; };
    if (fault("evaluator used before init")) evaluators.init = [](LWCameraEvaluatorID, int) -> LWError { return nullptr; };
    if (fault("evaluator never destroyed")) evaluators.destroy = [](LWCameraEvaluatorID) {};
  });
}

void* answer_service(const char* name, int use) {
  void* own = host_global(name, use);
  if (own == nullptr) return nullptr;
  const std::string_view service = name;
  if (service == LWITEMINFO_GLOBAL) return item_table();
  if (service == LWVPARMFUNCS_GLOBAL) return parameter_table();
  if (service == LWXPANELFUNCS_GLOBAL) return panel_table();
  if (service == LWCAMERAEVALUATION_GLOBAL) return evaluator_table();
  return own;
}

/// One digit, in the memory of the process: what a copy of this file would disturb.
char& copies_in_process() {
  static char none = '0';
  char* count = std::getenv("OVICAM_BROKEN_MODULE_COPIES");
  return count != nullptr && *count != '\0' ? *count : none;
}

int living_cameras = 0;

// --- The callbacks of one row of the server table.

template <std::size_t row>
struct Server {
  static inline LWInstanceFuncs instance;
  static inline LWRenderFuncs render;
  static inline LWCameraHandler handler;
  static inline LWGizmoFuncs gizmo;
  static inline std::atomic<int> calls = 0;
  static inline bool shared_is_alive = false;

  static const ServerRecord& record() { return real_module().descriptor->serverDefs[row]; }

  static int activate(int version, GlobalFunc* global, void* local, void* server_data) {
    if (global != nullptr) host_global = global;
    if (fault("unknown version accepted") && version == 1) version = LWCAMERA_HANDLER_VERSION;
    const std::string_view class_name = record().className;
    const int answer = record().activate(version, global != nullptr ? answer_service : nullptr, local, server_data);
    if (answer != AFUNC_OK) return answer;
    if (class_name == LWCAMERA_HANDLER_CLASS) change_handler(*static_cast<LWCameraHandler*>(local));
    if (class_name == LWCAMERA_GIZMO_CLASS && fault("gizmo without help"))
      static_cast<LWGizmo*>(local)->gizmo->help = [](LWInstance, LWToolEvent*) -> const char* { return nullptr; };
    if (fault("service never released") && global != nullptr) global(LWOBJECTINFO_GLOBAL, GFUSE_ACQUIRE);
    if (fault("unknown service asked for") && global != nullptr) global("No Such Service 1", GFUSE_TRANSIENT);
    return AFUNC_OK;
  }

  static void change_handler(LWCameraHandler& given) {
    instance = *given.inst;
    render = *given.rend;
    handler = given;
    change_instance(*given.inst);
    change_render(*given.rend);
    change_rays(given);
    if (fault("callback left out")) std::memset(static_cast<void*>(&given.project), 0xA5, sizeof given.project);
    if (fault("callback is null")) given.evaluate = nullptr;
  }

  static void change_instance(LWInstanceFuncs& given) {
    if (fault("leaked handle"))
      given.create = [](void* priv, void* context, LWError* error) {
        const LWVParmFuncs& parameters = *host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL);
        if (const LWVParmID leak = parameters.create(LWVP_FLOAT, LWVPDT_NOTXTR); leak != nullptr)
          parameters.setup(leak, "Leak", nullptr, nullptr, nullptr, "Broken", nullptr);
        return instance.create(priv, context, error);
      };
    if (fault("instance shared between cameras")) {
      static LWInstance shared;
      given.create = [](void* priv, void* context, LWError* error) {
        if (!std::exchange(shared_is_alive, true)) shared = instance.create(priv, context, error);
        return shared;
      };
      given.destroy = [](LWInstance ended) {
        if (std::exchange(shared_is_alive, false)) instance.destroy(ended);
      };
    }
    if (fault("crash at shut-down with living cameras")) {
      given.create = [](void* priv, void* context, LWError* error) {
        ++living_cameras;
        return instance.create(priv, context, error);
      };
      given.destroy = [](LWInstance ended) {
        --living_cameras;
        instance.destroy(ended);
      };
    }
    if (fault("null instance destroyed"))
      given.destroy = [](LWInstance ended) {
        if (ended == nullptr) crash();
        instance.destroy(ended);
      };
    if (fault("unknown service asked for at the end"))
      given.destroy = [](LWInstance ended) {
        instance.destroy(ended);
        host_global("No Such Service 1", GFUSE_TRANSIENT);
      };
    if (fault("description is null")) given.descln = [](LWInstance) -> const char* { return nullptr; };
    if (fault("copy onto itself crashes"))
      given.copy = [](LWInstance to, LWInstance from) {
        if (to == from) crash();
        return instance.copy(to, from);
      };
    if (fault("copy forgets the settings")) given.copy = [](LWInstance, LWInstance) -> LWError { return nullptr; };
    if (fault("value lost in save"))
      given.save = [](LWInstance saved, const LWSaveState* state) {
        if (state == nullptr) return instance.save(saved, state);
        static const LWSaveState* outer;
        static int words;
        outer = state;
        words = 0;
        LWSaveState fewer = *state;
        fewer.writeU4 = [](void* data, const unsigned* values, int count) {
          if (words++ > 0) outer->writeU4(data, values, count);
        };
        return instance.save(saved, &fewer);
      };
    if (fault("state read past its end"))
      given.load = [](LWInstance loaded, const LWLoadState* state) {
        const LWError error = instance.load(loaded, state);
        if (loaded != nullptr && state != nullptr) {
          unsigned word = 0;
          state->readU4(state->readData, &word, 1);
        }
        return error;
      };
    if (fault("state left unread")) given.load = [](LWInstance, const LWLoadState*) -> LWError { return nullptr; };
  }

  static void change_render(LWRenderFuncs& given) {
    if (fault("second render differs"))
      given.init = [](LWInstance rendered, int mode) {
        ++calls;
        return render.init(rendered, mode);
      };
    if (fault("stale handle used in clean-up"))
      given.cleanup = [](LWInstance rendered) {
        render.cleanup(rendered);
        double result[3];
        host_table<LWVParmFuncs>(LWVPARMFUNCS_GLOBAL)->getVal(nullptr, 0.0, nullptr, result);
      };
    if (fault("clean-up without a render crashes")) {
      static std::unordered_set<LWInstance> rendering;
      given.init = [](LWInstance rendered, int mode) {
        rendering.insert(rendered);
        return render.init(rendered, mode);
      };
      given.cleanup = [](LWInstance rendered) {
        if (rendered != nullptr && rendering.erase(rendered) == 0) crash();
        render.cleanup(rendered);
      };
    }
  }

  /// The real ray, and then the mistake.
  template <auto mistake>
  static int evaluate(LWInstance camera, double film_x, double film_y, double lens_x, double lens_y, double time,
                      LWCameraEye eye, LWCameraRay* ray, const LWCameraAccess* access) {
    const int result = handler.evaluate(camera, film_x, film_y, lens_x, lens_y, time, eye, ray, access);
    return ray != nullptr && camera != nullptr ? mistake(result, *ray, film_x) : result;
  }

  template <auto mistake>
  static int project(LWInstance camera, double lens_x, double lens_y, const LWDVector world, double time, LWCameraEye eye,
                     LWDVector film, const LWCameraAccess* access) {
    return mistake(camera, film, handler.project(camera, lens_x, lens_y, world, time, eye, film, access));
  }

  static void change_rays(LWCameraHandler& given) {
    if (fault("write past the ray"))
      given.evaluate = evaluate<[](int result, LWCameraRay& ray, double) {
        ray.filter[0][0] = 1.0;
        return result;
      }>;
    if (fault("write before the ray"))
      given.evaluate = evaluate<[](int result, LWCameraRay& ray, double) {
        reinterpret_cast<volatile double*>(&ray)[-1] = 1.0;
        return result;
      }>;
    if (fault("write on refusal"))
      given.evaluate = evaluate<[](int result, LWCameraRay&, double film_x) { return film_x < 0.0 ? LWCAMEVAL_NONE : result; }>;
    if (fault("direction is no number"))
      given.evaluate = evaluate<[](int result, LWCameraRay& ray, double film_x) {
        if (0.0 < film_x && result != 0) ray.rayDir[1] = std::numeric_limits<double>::quiet_NaN();
        return result;
      }>;
    if (fault("direction is too long"))
      given.evaluate = evaluate<[](int result, LWCameraRay& ray, double) {
        if (result != 0) ray.rayDir[0] *= 1.001;
        return result;
      }>;
    if (fault("torn pose"))
      given.evaluate = evaluate<[](int result, LWCameraRay& ray, double) {
        static LWDVector last{};
        if (result != 0)
          for (int i = 0; i < 3; ++i) std::swap(last[i], ray.rayPos[i]);
        return result;
      }>;
    if (fault("sleep in evaluation"))
      given.evaluate = evaluate<[](int result, LWCameraRay&, double) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        return result;
      }>;
    if (fault("result depends on the thread"))
      given.evaluate = evaluate<[](int result, LWCameraRay& ray, double) {
        static const auto first = std::this_thread::get_id();
        if (result != 0 && std::this_thread::get_id() != first) ray.rayPos[0] += 1e-12;
        return result;
      }>;
    if (fault("second render differs"))
      given.evaluate = evaluate<[](int result, LWCameraRay& ray, double) {
        if (result != 0) ray.rayPos[0] += calls;
        return result;
      }>;
    if (fault("copies disturb one another"))
      given.evaluate = evaluate<[](int result, LWCameraRay& ray, double) {
        if (result != 0) ray.rayPos[0] += (copies_in_process() > '1') ? 1.0 : 0.0;
        return result;
      }>;
    if (fault("process differs from process"))
      given.evaluate = evaluate<[](int result, LWCameraRay& ray, double) {
        static const auto once = static_cast<double>(std::chrono::steady_clock::now().time_since_epoch().count());
        if (result != 0) ray.rayPos[0] += once * 1e-20 + 1e-9;
        return result;
      }>;
    if (fault("output while rendering"))
      given.evaluate = evaluate<[](int result, LWCameraRay&, double) {
        std::puts("a ray");
        return result;
      }>;
    if (fault("projection disagrees"))
      given.project = project<[](LWInstance, double* film, int result) {
        if (result != 0) film[0] += 1e-4;
        return result;
      }>;
    if (fault("projects although it says not")) given.flags = [](LWInstance flagged) { return handler.flags(flagged) | 4U; };
    if (fault("preview before a frame crashes")) {
      static std::unordered_set<LWInstance> framed;
      given.newFrame = [](LWInstance camera, const LWFrameInfo* frame, const LWCameraAccess* access) {
        framed.insert(camera);
        return handler.newFrame(camera, frame, access);
      };
      given.preview = [](LWInstance camera, double lens_x, double lens_y, LWCameraEye eye, LWDMatrix4 matrix,
                         const LWCameraAccess* access) {
        if (camera != nullptr && !framed.contains(camera)) crash();
        return handler.preview(camera, lens_x, lens_y, eye, matrix, access);
      };
    }
    if (fault("new frame never ends"))
      given.newFrame = [](LWInstance camera, const LWFrameInfo* frame, const LWCameraAccess* access) {
        while (frame != nullptr && frame->motionSteps > 500U) std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return handler.newFrame(camera, frame, access);
      };
  }
};

// --- The module.

std::FILE* left_open = nullptr;
void* volatile left_allocated = nullptr;

void* start_up() {
  if (fault("output at start-up")) std::puts("Broken module 1.0");
  if (fault("file left open")) left_open = std::fopen("/dev/null", "r");
  if (fault("thread left behind")) {
    // It runs in the system's library from the beginning: this file goes away under it.
    pthread_t thread{};
    pthread_create(&thread, nullptr, reinterpret_cast<void* (*)(void*)>(dlsym(RTLD_DEFAULT, "pause")), nullptr);
  }
  if (fault("handler left behind")) static_cast<void>(std::signal(SIGUSR2, SIG_IGN));
  if (fault("memory left behind")) left_allocated = std::malloc(100000);
  if (fault("crash at start-up")) crash();
  ++copies_in_process();
  return real_module().descriptor->startup();
}

void shut_down(void* block) {
  if (fault("crash at shut-down with living cameras") && living_cameras > 0) std::abort();
  --copies_in_process();
  real_module().descriptor->shutdown(block);
}

template <std::size_t... row>
std::array<ServerRecord, most_servers> records(std::index_sequence<row...> /*rows*/) {
  const std::array<ActivateFunc*, sizeof...(row)> activations{Server<row>::activate...};
  std::array<ServerRecord, most_servers> made{};
  if (real_module().descriptor == nullptr) return made;
  for (std::size_t i = 0; i + 1 < made.size() && real_module().descriptor->serverDefs[i].className != nullptr; ++i) {
    made[i] = real_module().descriptor->serverDefs[i];
    made[i].activate = activations[i];
    static const ServerTagInfo no_names{};
    if (fault("server without user names") && i == 3) made[i].tagInfo = &no_names;
    if (fault("server offered twice") && i == 3) made[i].name = made[0].name;
  }
  return made;
}

const std::array<ServerRecord, most_servers>& server_table() {
  static const std::array<ServerRecord, most_servers> table = records(std::make_index_sequence<most_servers>());
  return table;
}

}  // namespace

extern "C" {
[[gnu::visibility("default")]] extern const ModuleDescriptor _mod_descrip;
const ModuleDescriptor _mod_descrip{0x04121994, 3, 0x300, start_up, shut_down, server_table().data()};
}
