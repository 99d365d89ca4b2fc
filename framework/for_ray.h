#pragma once

namespace framework {

/// What one ray is mapped with: something that is kept, where it stands, or something of the ray's own. Copying it would cost a
/// good part of a simple lens's time.
template <class Value>
class ForRay {
 public:
  explicit ForRay(const Value* kept) : kept_(kept) {}
  explicit ForRay(const Value& own) : own_(own) {}

  /// Stays as long as this does.
  const Value& operator*() const { return kept_ != nullptr ? *kept_ : own_; }
  const Value* operator->() const { return &**this; }
  operator const Value&() const { return **this; }  // NOLINT(*-explicit-*)

 private:
  const Value* kept_ = nullptr;
  union {
    Value own_;
  };
};

}  // namespace framework
