// Makes an effect depend on a library of its own.
extern "C" __declspec(dllimport) int TarnwickTestNeeded();

namespace {
[[maybe_unused]] const volatile int needed = TarnwickTestNeeded();
}  // namespace
