#include "standin/scene/object_search.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace standin {
namespace {

/// No system opens a longer path.
constexpr std::size_t longest_path = 4096;
/// Leading names that may be dropped from a path of another machine: none has folders within folders deeper than this.
constexpr std::size_t deepest_path = 64;
/// Folders that are looked into for one object. Links that lead back could multiply them without an end.
constexpr std::size_t most_steps = 10000;

std::string lower_case(std::string name) {
  std::ranges::transform(name, name.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return name;
}

struct WrittenPath {
  /// Folders to go up before the first name.
  std::size_t up = 0;
  std::vector<std::string> names;
};

void add_name(WrittenPath& path, std::string name) {
  if (name.empty() || name == ".") return;
  if (name != "..")
    path.names.push_back(std::move(name));
  else if (path.names.empty())
    ++path.up;
  else
    path.names.pop_back();
}

WrittenPath split_at_slashes(const std::string& written) {
  WrittenPath path;
  for (std::size_t start = 0; start <= written.size();) {
    const std::size_t end = std::min(written.find_first_of("/\\", start), written.size());
    std::string name = written.substr(start, end - start);
    // The host also writes a path on a drive without a slash after the colon.
    const std::size_t colon = start == 0 ? name.find(':') : std::string::npos;
    if (colon != std::string::npos && colon + 1 < name.size()) {
      add_name(path, name.substr(0, colon + 1));
      name.erase(0, colon + 1);
    }
    add_name(path, std::move(name));
    start = end + 1;
  }
  return path;
}

}  // namespace

ObjectSearch::ObjectSearch(const Scene& scene)
    : folders_{std::filesystem::absolute(scene.folder.empty() ? "." : scene.folder)} {
  if (!scene.content_folder.empty())
    folders_.push_back(std::filesystem::absolute(scene.content_folder));
  else
    while (folders_.back() != folders_.back().parent_path()) folders_.push_back(folders_.back().parent_path());
}

std::filesystem::path ObjectSearch::find(const std::string& written) {
  if (written.empty() || written.size() > longest_path) return {};
  const auto known = found_.find(written);
  if (known != found_.end()) return known->second;
  std::filesystem::path found;
  try {
    found = find_unguarded(written);
  } catch (const std::system_error&) {
    // A name that this system cannot represent is not that of a file here.
  }
  return found_.emplace(written, std::move(found)).first->second;
}

std::filesystem::path ObjectSearch::find_unguarded(const std::string& written) {
  steps_left_ = most_steps;
  const WrittenPath path = split_at_slashes(written);
  // A folder.
  if (path.names.empty() || written.ends_with('/') || written.ends_with('\\')) return {};
  if (written.front() == '/' || written.front() == '\\')
    if (auto found = find_in("/", path.names, 0); !found.empty()) return found;
  if (path.up > 0) {
    std::filesystem::path folder = folders_.front();
    for (std::size_t i = 0; i < path.up && folder != folder.parent_path(); ++i) folder = folder.parent_path();
    if (auto found = find_in(folder, path.names, 0); !found.empty()) return found;
  }
  // The end of a path from another machine is its place in the content folder, so leading names are dropped one by one.
  const std::size_t first = path.names.size() - std::min(path.names.size(), deepest_path);
  for (std::size_t next = first; next < path.names.size(); ++next) {
    for (const auto& folder : folders_) {
      auto found = find_in(folder, path.names, next);
      if (!found.empty()) return found;
    }
  }
  return {};
}

const ObjectSearch::Listing& ObjectSearch::listing(const std::filesystem::path& folder) {
  const auto [entry, added] = listings_.try_emplace(folder.string());
  if (added) {
    std::error_code error;
    for (std::filesystem::directory_iterator each(folder, error), end; !error && each != end; each.increment(error)) {
      std::string name = each->path().filename().string();
      Names& alike = entry->second[lower_case(name)];
      alike.push_back(std::move(name));
    }
    for (auto& [lower, names] : entry->second) std::ranges::sort(names);
  }
  return entry->second;
}

/// The file of the names from `next` on under the folder, compared without regard to case; empty when it is not there. Where
/// names differ by their case alone, the one as written is tried first.
std::filesystem::path ObjectSearch::find_in(const std::filesystem::path& folder, const Names& names, std::size_t next) {
  if (steps_left_ == 0) return {};
  --steps_left_;
  std::error_code error;
  if (next == names.size()) return std::filesystem::is_regular_file(folder, error) ? folder : std::filesystem::path();
  // A folder that may not be listed may hold it all the same.
  if (const auto exact = folder / names[next]; std::filesystem::exists(exact, error)) {
    if (auto found = find_in(exact, names, next + 1); !found.empty()) return found;
  }
  const Listing& held = listing(folder);
  const auto alike = held.find(lower_case(names[next]));
  if (alike == held.end()) return {};
  for (const std::string& name : alike->second) {
    if (name == names[next]) continue;
    if (auto found = find_in(folder / name, names, next + 1); !found.empty()) return found;
  }
  return {};
}

std::filesystem::path resolve_object_file(const Scene& scene, const std::string& written) {
  try {
    return ObjectSearch(scene).find(written);
  } catch (const std::system_error&) {
    // The scene's own folder is not there any more.
    return {};
  }
}

}  // namespace standin
