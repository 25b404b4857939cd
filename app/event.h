// An event that one area announces and others listen to, so that it calls nobody above it.
#pragma once

#include <functional>
#include <utility>
#include <vector>

namespace tarnwick::app {

// User-interface thread.
template <class... Values>
class Event {
 public:
  using Listener = std::function<void(Values... values)>;

  void listen(Listener listener) { listeners_.push_back(std::move(listener)); }
  // Tells every listener, in the order in which they began to listen. A listener may announce in turn.
  void operator()(Values... values) const {
    for (const Listener& listener : listeners_) {
      listener(values...);
    }
  }

 private:
  std::vector<Listener> listeners_;
};

}  // namespace tarnwick::app
