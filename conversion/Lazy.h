#pragma once
// A value computed on its first use and kept from then on.
#include <functional>
#include <utility>

namespace KZV {

template <typename T>
class Lazy {
 public:
  explicit Lazy(std::function<T()> make) : make_(std::move(make)) {}
  Lazy(Lazy const&) = delete;
  Lazy& operator=(Lazy const&) = delete;

  T& Get() {
    if (!computed_) {
      value_ = make_();
      computed_ = true;
    }
    return value_;
  }

 private:
  std::function<T()> make_;
  T value_{};
  bool computed_ = false;
};

}  // namespace KZV
