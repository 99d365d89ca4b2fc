#include "standin/remote/shared_rays.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <system_error>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace standin {
namespace {

#ifdef _WIN32

/// Null when it cannot be mapped. What is mapped stays so without its handles.
void* mapped(const std::filesystem::path& path, std::size_t size) {
  const HANDLE file = CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING, 0, nullptr);
  if (file == INVALID_HANDLE_VALUE) return nullptr;
  LARGE_INTEGER there{};
  void* memory = nullptr;
  if (GetFileSizeEx(file, &there) != 0 && static_cast<std::uint64_t>(there.QuadPart) == size) {
    const HANDLE mapping = CreateFileMappingW(file, nullptr, PAGE_READWRITE, 0, 0, nullptr);
    if (mapping != nullptr) {
      memory = MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, size);
      CloseHandle(mapping);
    }
  }
  CloseHandle(file);
  return memory;
}

void unmap(void* memory, std::size_t /*size*/) { UnmapViewOfFile(memory); }

#else

void* mapped(int descriptor, std::size_t size) {
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
  return memory != MAP_FAILED ? memory : nullptr;
}

void* mapped(const std::filesystem::path& path, std::size_t size) {
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  // Memory beyond the file's end would end this program when it is touched.
  const off_t there = lseek(descriptor, 0, SEEK_END);
  void* memory = there >= 0 && static_cast<std::uint64_t>(there) == size ? mapped(descriptor, size) : nullptr;
  close(descriptor);
  return memory;
}

void unmap(void* memory, std::size_t size) { munmap(memory, size); }

#endif

}  // namespace

std::unique_ptr<SharedRays> SharedRays::create(std::size_t requests, std::size_t most_rays) {
#ifdef _WIN32
  static_cast<void>(requests);
  static_cast<void>(most_rays);
  return nullptr;
#else
  std::string name = "/dev/shm/ovicam-rays-XXXXXX";
  const int descriptor = mkostemp(name.data(), O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  // Room is made now: a full memory would otherwise end this program in the middle of a frame.
  const std::size_t size = bytes_of(requests, most_rays);
  void* memory = posix_fallocate(descriptor, 0, static_cast<off_t>(size)) == 0 ? mapped(descriptor, size) : nullptr;
  close(descriptor);
  if (memory == nullptr) {
    unlink(name.c_str());
    return nullptr;
  }
  return std::unique_ptr<SharedRays>(new SharedRays(memory, requests, most_rays, name));
#endif
}

std::unique_ptr<SharedRays> SharedRays::open(const std::filesystem::path& file, std::size_t requests, std::size_t most_rays) {
  void* memory = mapped(file, bytes_of(requests, most_rays));
  if (memory == nullptr) return nullptr;
  return std::unique_ptr<SharedRays>(new SharedRays(memory, requests, most_rays, {}));
}

SharedRays::~SharedRays() {
  unmap(memory_, bytes_of(requests_, most_rays_));
  remove_file();
}

void SharedRays::remove_file() {
  if (file_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove(file_, ignored);
  file_.clear();
}

}  // namespace standin
