// Compiled once for every module, with its words.
namespace tarnwick::test_plugin {
extern const char* const kModuleWords;
const char* const kModuleWords = TEST_MODULE_WORDS;
}  // namespace tarnwick::test_plugin
