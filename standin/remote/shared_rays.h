#pragma once

#include <cstddef>
#include <filesystem>
#include <memory>
#include <span>
#include <utility>

#include "standin/host/ray_query.h"

namespace standin {

/// Memory of the rays or points of several requests, which the ray service and its client both see: a file that both map. The
/// places of a request are written by one while the other waits for a message, so that nothing more has to be agreed. Threads:
/// one at a time for each request.
class SharedRays {
 public:
  /// Makes a new file in memory; null where this system has no place for one. Removes it again on destruction.
  static std::unique_ptr<SharedRays> create(std::size_t requests, std::size_t most_rays);
  /// Maps the file that another process has made; null where that is impossible, or the file is not of that size.
  static std::unique_ptr<SharedRays> open(const std::filesystem::path& file, std::size_t requests, std::size_t most_rays);

  SharedRays(const SharedRays&) = delete;
  SharedRays& operator=(const SharedRays&) = delete;
  ~SharedRays();

  const std::filesystem::path& file() const { return file_; }
  /// Nobody else can find the file any more; who has mapped it keeps it.
  void remove_file();

  std::size_t requests() const { return requests_; }

  /// Of the request with this number, from 0 on.
  std::span<RayQuery> queries(std::size_t request) const {
    return {reinterpret_cast<RayQuery*>(memory_ + request * bytes_of(1, most_rays_)), most_rays_};
  }
  std::span<RayAnswer> answers(std::size_t request) const {
    return {reinterpret_cast<RayAnswer*>(queries(request).data() + most_rays_), most_rays_};
  }

  /// In the same memory: a request has either rays or points.
  std::span<PointQuery> points(std::size_t request) const {
    return {reinterpret_cast<PointQuery*>(queries(request).data()), most_rays_};
  }
  std::span<PointAnswer> film_points(std::size_t request) const {
    return {reinterpret_cast<PointAnswer*>(answers(request).data()), most_rays_};
  }

 private:
  static_assert(sizeof(PointQuery) <= sizeof(RayQuery) && sizeof(PointAnswer) <= sizeof(RayAnswer));

  static constexpr std::size_t bytes_of(std::size_t requests, std::size_t rays) {
    return requests * rays * (sizeof(RayQuery) + sizeof(RayAnswer));
  }

  SharedRays(void* memory, std::size_t requests, std::size_t most_rays, std::filesystem::path file)
      : memory_(static_cast<std::byte*>(memory)), requests_(requests), most_rays_(most_rays), file_(std::move(file)) {}

  std::byte* memory_ = nullptr;
  std::size_t requests_ = 0;
  std::size_t most_rays_ = 0;
  /// Empty unless it is this end's to remove.
  std::filesystem::path file_;
};

}  // namespace standin
