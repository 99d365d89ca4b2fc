/// What a ray costs all threads together once a frame has settled: stores to memory that they share, and pieces of memory.

#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <ucontext.h>
#include <vector>

#include "tests/support/camera_facts.h"
#include "tests/support/link_folder.h"
#include "tests/support/motion.h"
#include "tests/support/service_override.h"
#include "tests/support/stage.h"

extern "C" {
void* __libc_malloc(std::size_t size);                     // NOLINT(*-reserved-identifier,cert-*)
void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT(*-reserved-identifier,cert-*)
void __libc_free(void* memory);                            // NOLINT(*-reserved-identifier,cert-*)
}

namespace {

/// Whole pages, which can be made read-only, for all that is allocated while `is_open`. Nothing in it is used twice,
/// and it stays: what the process keeps may be in it.
struct Arena {
  static constexpr std::size_t size = std::size_t{256} << 20;

  char* memory =
      static_cast<char*>(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
  std::size_t used = 0;
  bool is_open = false;

  bool holds(const void* address) const { return address >= memory && address < memory + size; }

  void* take(std::size_t bytes) {
    void* taken = memory + used;
    used += (bytes + 15) / 16 * 16;
    return used <= size ? taken : nullptr;
  }
};
Arena arena;
thread_local std::size_t allocations = 0;

}  // namespace

// The parameters have the names that the C library gives them.
extern "C" {

void* malloc(std::size_t size) {
  ++allocations;
  return arena.is_open ? arena.take(size) : __libc_malloc(size);
}

void* calloc(std::size_t nmemb, std::size_t size) {
  ++allocations;
  return arena.is_open ? arena.take(nmemb * size) : __libc_calloc(nmemb, size);
}

void free(void* ptr) {
  if (!arena.holds(ptr)) __libc_free(ptr);
}
}

namespace {

using standin::HostedCamera;
using test_support::all_cameras;
using test_support::CameraFacts;

constexpr std::uintptr_t page_size = 4096;

struct Span {
  std::uintptr_t begin = 0;
  std::uintptr_t end = 0;

  bool holds(std::uintptr_t address) const { return address >= begin && address < end; }
};

/// Counts the module's stores to the arena and to its own variables. The pages are read-only; each store that is refused is
/// counted and done alone, one instruction with the pages open.
class StoreWatch {
 public:
  explicit StoreWatch(const standin::Module& module) {
    Dl_info info{};
    EXPECT_NE(dladdr(reinterpret_cast<const void*>(module.library().find("Startup")), &info), 0);
    base_ = reinterpret_cast<std::uintptr_t>(info.dli_fbase);
    dl_iterate_phdr(find_segments, this);
    EXPECT_NE(code_.end, 0U);
    EXPECT_NE(variables_.end, 0U);
    watch_ = this;
    struct sigaction action {};
    action.sa_flags = SA_SIGINFO;
    action.sa_sigaction = refused;
    sigaction(SIGSEGV, &action, &usual_fault_);
    action.sa_sigaction = stepped;
    sigaction(SIGTRAP, &action, &usual_trap_);
  }
  ~StoreWatch() {
    protect(PROT_READ | PROT_WRITE);
    sigaction(SIGSEGV, &usual_fault_, nullptr);
    sigaction(SIGTRAP, &usual_trap_, nullptr);
    watch_ = nullptr;
  }
  StoreWatch(const StoreWatch&) = delete;
  StoreWatch& operator=(const StoreWatch&) = delete;

  template <class Action>
  std::size_t stores_of(Action action) {
    stores_ = 0;
    protect(PROT_READ);
    action();
    protect(PROT_READ | PROT_WRITE);
    return stores_;
  }

 private:
  static constexpr greg_t single_step = 0x100;

  static int find_segments(dl_phdr_info* info, std::size_t /*size*/, void* data) {
    auto& self = *static_cast<StoreWatch*>(data);
    if (info->dlpi_addr != self.base_) return 0;
    Span relocated;
    for (int i = 0; i < info->dlpi_phnum; ++i) {
      const ElfW(Phdr)& segment = info->dlpi_phdr[i];
      const Span span{self.base_ + segment.p_vaddr, self.base_ + segment.p_vaddr + segment.p_memsz};
      if (segment.p_type == PT_GNU_RELRO) relocated = span;
      if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0) self.code_ = span;
      if (segment.p_type == PT_LOAD && (segment.p_flags & PF_W) != 0) self.variables_ = span;
    }
    // What the loader has made read-only stays so.
    if (self.variables_.holds(relocated.begin)) self.variables_.begin = relocated.end;
    self.variables_.begin = self.variables_.begin / page_size * page_size;
    return 1;
  }

  void protect(int access) const {
    mprotect(arena.memory, Arena::size, access);
    mprotect(reinterpret_cast<void*>(variables_.begin), variables_.end - variables_.begin, access);
  }

  static void refused(int /*signal*/, siginfo_t* fault, void* context) {
    auto& registers = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    const auto address = reinterpret_cast<std::uintptr_t>(fault->si_addr);
    if (!arena.holds(fault->si_addr) && !watch_->variables_.holds(address)) {
      // Somebody else's fault: it comes again, and ends the test as it always does.
      sigaction(SIGSEGV, &watch_->usual_fault_, nullptr);
      return;
    }
    if (watch_->code_.holds(static_cast<std::uintptr_t>(registers[REG_RIP]))) watch_->stores_ = watch_->stores_ + 1;
    watch_->protect(PROT_READ | PROT_WRITE);
    registers[REG_EFL] |= single_step;
  }

  static void stepped(int /*signal*/, siginfo_t* /*info*/, void* context) {
    static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_EFL] &= ~single_step;
    watch_->protect(PROT_READ);
  }

  static inline StoreWatch* watch_ = nullptr;

  std::uintptr_t base_ = 0;
  Span code_;
  Span variables_;
  volatile std::size_t stores_ = 0;
  struct sigaction usual_fault_ {};
  struct sigaction usual_trap_ {};
};

/// Times that no two neighbours of follow each other, `count` of them.
std::vector<double> times(std::size_t count) {
  std::vector<double> all(count);
  for (std::size_t i = 0; i < count; ++i) all[i] = (static_cast<double>(i * 1237 % count) + 0.5) / static_cast<double>(count);
  return all;
}

class SteadyState : public testing::TestWithParam<CameraFacts> {
 protected:
  SteadyState() {
    test_support::send(stage.host.item("Camera"), {{0.0, 1.0, -3.0}, {2.0, 0.5, 1.0}, {0.1, 0.2, 0.3}, {1.4, -0.6, 0.9}});
    arena.is_open = true;
    camera = stage.create(GetParam().server_name);
    if (GetParam().looks_through_other_cameras) {
      int choice = 0;
      for (const standin::PanelHint* hint : camera->panel().hints_of(LWXPTAG_POPFUNCS))
        camera->panel().set_integer(hint->control(), ++choice);
    }
    begin();
    arena.is_open = false;
  }
  void begin() {
    camera->init_render(LWRM_RENDER);
    camera->new_time(1, 1.0);
    camera->new_frame(1, 1.0, 1.0, 9);
  }

  /// Rays all over the film, each time in its turn.
  void trace(const std::vector<double>& all_times) {
    const LWCameraAccess& access = camera->access();
    LWCameraRay ray{};
    std::size_t next = 0;
    for (int row = 0; row < 24; ++row) {
      for (int column = 0; column < 32; ++column) {
        camera->handler().evaluate(camera->raw(), (column / 31.0 - 0.5) * access.filmSize[0],
                                   (row / 23.0 - 0.5) * access.filmSize[1], 0.25, -0.5, all_times[next], LWCAMEYE_LEFT, &ray,
                                   &access);
        next = (next + 1) % all_times.size();
      }
    }
  }

  test_support::LinkFolder link;
  test_support::Stage stage;
  std::unique_ptr<HostedCamera> camera;
};

INSTANTIATE_TEST_SUITE_P(EveryCamera, SteadyState, testing::ValuesIn(all_cameras()),
                         [](const auto& each) { return each.param.server_name; });

TEST_P(SteadyState, RaysStoreNothingThatThreadsShare) {
  StoreWatch watch(stage.module);
  // The last of them has more times than a frame keeps poses.
  for (const std::size_t count : {1U, 64U, 700U}) {
    SCOPED_TRACE(count);
    const std::vector<double> all = times(count);
    trace(all);
    EXPECT_EQ(watch.stores_of([&] { trace(all); }), 0U);
  }
}

TEST_P(SteadyState, RaysTakeNoMemory) {
  // The stand-in host takes memory when it evaluates a camera for another one; this one does not.
  auto evaluation = test_support::host_table<LWCameraEvaluationFuncs>(LWCAMERAEVALUATION_GLOBAL);
  evaluation.evaluate = [](LWCameraEvaluatorID /*evaluator*/, double x, double y, double /*lens_x*/, double /*lens_y*/,
                           double /*time*/, LWCameraEye /*eye*/, LWCameraRay* ray) -> int {
    *ray = {};
    ray->rayDir[0] = x;
    ray->rayDir[1] = y;
    ray->rayDir[2] = 1.0;
    return LWCAMEVAL_RAY;
  };
  const test_support::ServiceOverride quick_host(stage.module, GetParam().server_name, LWCAMERAEVALUATION_GLOBAL, &evaluation);
  for (const std::size_t count : {1U, 700U}) {
    SCOPED_TRACE(count);
    const std::vector<double> all = times(count);
    trace(all);
    const std::size_t before = allocations;
    trace(all);
    EXPECT_EQ(allocations - before, 0U);
  }
}

/// That what is counted above would be seen: an instance is made of memory, and the first ray of a time keeps its pose.
TEST_P(SteadyState, MemoryOfAnInstanceIsSeen) {
  const LWCameraHandler& handler = camera->handler();
  const std::size_t before = allocations;
  const LWInstance instance = handler.inst->create(handler.inst->priv, camera->item_id(), nullptr);
  EXPECT_GT(allocations, before);
  handler.inst->destroy(instance);
}

TEST_P(SteadyState, FirstRayOfATimeIsSeenToStore) {
  const bool keeps_poses = !GetParam().looks_through_other_cameras && GetParam().server_name != "QuorinSkyboxCam" &&
                           GetParam().server_name != "QuorinPerspectiveNoDOFNoMBCam";
  trace({0.25});
  StoreWatch watch(stage.module);
  EXPECT_EQ(watch.stores_of([&] { trace({0.375}); }) > 0, keeps_poses);
}

}  // namespace
