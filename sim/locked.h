// One field of a model read or written under the model's lock: the knobs and
// gauges tests use while the tool's threads are in the model.
#pragma once

#include <mutex>
#include <utility>

namespace sim {

template <class T>
T locked_read(std::mutex& mu, const T& field) {
  std::lock_guard<std::mutex> lock(mu);
  return field;
}

template <class T, class V>
void locked_write(std::mutex& mu, T& field, V&& value) {
  std::lock_guard<std::mutex> lock(mu);
  field = std::forward<V>(value);
}

}  // namespace sim
