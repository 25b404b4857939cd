// A library that needs_library.vst3 does not load without.
extern "C" __declspec(dllexport) int TarnwickTestNeeded();
int TarnwickTestNeeded() {
  return 1;
}
