#include "standin/validate/attribution.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace standin::validate {
namespace {

/// A failure with the first text follows from one of that test with the second text.
struct Consequence {
  std::string_view failure;
  std::string_view test;
  std::string_view cause;
};

constexpr std::string_view crash = "crashed (";

constexpr std::array consequences{
    Consequence{"there is no service \"", "services", "which no host has"},
    Consequence{"which no host has", "services", "which no host has"},
    Consequence{"is set up already", "services", "is set up "},
    Consequence{"room for the result", "services", "without room for the result"},
    Consequence{"handles of an instance are left behind", "evaluators", "evaluators of other cameras are left behind"},
    Consequence{"The evaluator of", "evaluators", "evaluators of other cameras are left behind"},
    Consequence{"was created and not destroyed", "lifecycle", "handles of an instance are left behind"},
    Consequence{"was created and not destroyed", "lifecycle", "two living cameras have one instance"},
    Consequence{crash, "lifecycle", "two living cameras have one instance"},
    Consequence{"is stale or was never given out", "lifecycle", "is stale or was never given out"},
    Consequence{"gave no ray, and yet wrote", "inputs", "gave no ray, and yet wrote"},
    Consequence{"beyond the ray's first three vectors", "bounds", "beyond the ray's first three vectors"},
    Consequence{"wrote past a record of the host", "bounds", "in evaluate, between pages"},
    Consequence{"is used before", "evaluators", "is used before"},
    Consequence{"the words of a panel's hints changed", "panel", ""},
    Consequence{"LWXPanel ", "panel", "the words of a panel's hints changed"},
    Consequence{"in a panel's closing", "panel", "the unknown class"},
    Consequence{"in a panel's closing", "panel", "Two controls have the ID"},
    Consequence{"outside of any call", "panel", "in a panel's closing"},
    Consequence{crash, "activation", "the callback \""},
    Consequence{"in copy", "copy", "in copy"},
    Consequence{"in preview(", "before-frame", "in preview("},
    Consequence{"in clean-up", "order", "in clean-up"},
    Consequence{"of the first", "reproducibility", "the second time, the same inputs give other rays"},
    Consequence{"other rays", "reproducibility", "the second time, the same inputs give other rays"},
    Consequence{"rays are others than from one", "reproducibility", "the second time, the same inputs give other rays"},
    Consequence{"another instance changes the rays", "sessions", "A second render of the same frames"},
    Consequence{"after another frame", "sessions", "A second render of the same frames"},
    Consequence{"is not projected to where the ray came from", "sessions", "A second render of the same frames"},
    Consequence{"is not projected to where the ray came from", "inputs", "is not of length 1"},
    Consequence{"is not made of finite numbers", "inputs", "is not made of finite numbers"},
    Consequence{"others than from one", "copy", "the copy gives other rays than the original"},
    Consequence{"after saving and loading", "state", "is not in the state"},
};

bool has(const std::string& text, std::string_view part) { return text.find(part) != std::string::npos; }

/// A test of the whole module has seen all of its cameras.
bool share_a_camera(const Result& one, const Result& other) {
  return one.server == other.server || one.server.empty() || other.server.empty();
}

bool follows(const std::string& failure, const Result& result, const std::vector<Result>& results) {
  return std::ranges::any_of(consequences, [&](const Consequence& consequence) {
    return consequence.test != result.test && has(failure, consequence.failure) &&
           std::ranges::any_of(results, [&](const Result& other) {
             return other.test == consequence.test && share_a_camera(result, other) &&
                    std::ranges::any_of(other.failures,
                                        [&](const std::string& cause) { return has(cause, consequence.cause); });
           });
  });
}

/// What a result ends with when it has too many failures to tell.
bool counts_the_rest(const std::string& failure) { return failure.starts_with("and ") && failure.ends_with(" more"); }

}  // namespace

bool may_be_a_consequence(const std::string& test, const std::string& failure) {
  return counts_the_rest(failure) || std::ranges::any_of(consequences, [&](const Consequence& consequence) {
           return consequence.test != test && has(failure, consequence.failure);
         });
}

void attribute_consequences(std::vector<Result>& results) {
  const std::vector<Result> as_found = results;
  for (Result& result : results) {
    const bool all_follow = std::ranges::all_of(result.failures, [&](const std::string& failure) {
      return counts_the_rest(failure) || follows(failure, result, as_found);
    });
    const auto first = std::stable_partition(result.failures.begin(), result.failures.end(), [&](const std::string& failure) {
      return !all_follow && !follows(failure, result, as_found);
    });
    result.consequences.insert(result.consequences.end(), first, result.failures.end());
    result.failures.erase(first, result.failures.end());
  }
}

}  // namespace standin::validate
