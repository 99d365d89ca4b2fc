#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "standin/scene/scene.h"
#include "standin/session/session.h"

namespace tool {

/// What a command leaves out or replaces, gathered line by line: "warning: SENTENCE" or "note: SENTENCE". Threads: one.
class Warnings {
 public:
  /// A strict command takes no warning.
  explicit Warnings(bool strict) : strict_(strict) {}

  std::ostream& lines() { return lines_; }
  /// What the scene's file has that is not followed.
  void add(const standin::Scene& scene);
  /// What was set on the session's camera, and its warnings so far.
  void add(standin::Session& session);
  void add(const std::string& sentence);

  /// Writes what was gathered since the last time to standard error and returns the warnings' sentences. If strict, throws
  /// std::runtime_error with all of them where there are any.
  std::vector<std::string> tell();

 private:
  bool strict_;
  std::ostringstream lines_;
};

}  // namespace tool
