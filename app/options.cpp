#include "app/options.h"

#include <CLI/CLI.hpp>
#include <cmath>
#include <utility>

#include "app/settings_table.h"
#include "platform/paths.h"
#include "platform/text.h"

namespace tarnwick::app {
namespace {

using platform::WideFromUtf8;
using sound::VirtualClock;

// An empty text is most likely a variable of a script that was never set.
const CLI::Validator kNotEmpty(
    [](const std::string& text) { return text.empty() ? std::string("is empty") : std::string(); }, "");

// The parser's targets: UTF-8 as it comes.
struct RawOptions {
  std::string device;
  std::string plugin;
  std::string stateDir;
  std::string settings;
  std::string virtualSource;
  std::string virtualCapture;
  std::string virtualClock;
  std::string validate;
  std::string logLevel;
};

// Where the value of an option comes from that is not given.
std::string otherwise(const Setting& setting) {
  return " (default: settings, at first " + platform::Utf8FromWide(setting.standard) + ")";
}

void addProgramOptions(CLI::App& parser, Options& options, RawOptions& raw) {
  const Setting& rate = SettingNamed(L"sampleRate");
  const Setting& length = SettingNamed(L"bufferSize");
  parser
      .add_option("--device", raw.device,
                  "Audio device to select (default: the one in the settings, at first the virtual device)")
      ->check(kNotEmpty)
      ->type_name("NAME");
  parser.add_option("--sample-rate", options.sampleRate, "Sample rate of the session in Hz" + otherwise(rate))
      ->check(CLI::Range(rate.form.lowest, rate.form.highest))
      ->type_name("HZ");
  parser
      .add_option("--buffer-size", options.bufferSize,
                  "Samples in a block; 0 takes the device's preferred length" + otherwise(length))
      ->check(CLI::Range(static_cast<int32_t>(length.form.lowest), static_cast<int32_t>(length.form.highest)))
      ->type_name("N");
  parser.add_option("--plugin", raw.plugin, "VST3 effect (default: settings, at first Ombrel.vst3 beside the program)")
      ->check(kNotEmpty)
      ->type_name("PATH");
  parser
      .add_option("--instances", options.instances,
                  "At least so many instances: those of the settings, then more, input i to output i")
      ->check(CLI::Range(0, 127))
      ->type_name("N");
  parser.add_flag("--start", options.start, "Start the device and the host at once");
  parser.add_option("--seconds", options.seconds, "With --start: stop after so many seconds of the device's audio")
      ->check(CLI::Range(1e-6, 1e9))
      ->type_name("S");
  parser.add_option("--state-dir", raw.stateDir, "Folder that stands for the program's own (state files)")
      ->check(kNotEmpty)
      ->type_name("DIR");
  parser.add_option("--settings", raw.settings, "Place of the settings: a file; on Windows a key of the current user")
      ->check(kNotEmpty)
      ->type_name("FILE");
  parser
      .add_option("--remote-port", options.remotePort,
                  "Port of the remote control server, TCP and UDP (default 20831); 0 switches it off")
      ->check(CLI::Range(0, 65535))
      ->type_name("PORT");
  parser.add_flag("--list-devices", options.listDevices, "List the audio devices that answer, and exit");
  parser.add_option("--validate", raw.validate, "Tell whether a file is a usable VST3 effect, and exit")
      ->check(kNotEmpty)
      ->type_name("PATH");
  parser
      .add_option("--log-level", raw.logLevel,
                  "info: what happened, and why something failed (default); debug: every detail of it")
      ->check(CLI::IsMember({"info", "debug"}).description(""))
      ->type_name("info|debug");
  parser.add_flag("--version", options.version, "Print the version, and exit");
}

void addVirtualOptions(CLI::App& parser, sound::VirtualOptions& device, RawOptions& raw) {
  parser.add_option("--virtual-inputs", device.inputs, "Inputs of the virtual device (default 8)")
      ->check(CLI::Range(1, 1024))
      ->type_name("N");
  parser.add_option("--virtual-outputs", device.outputs, "Outputs of the virtual device (default 8)")
      ->check(CLI::Range(1, 1024))
      ->type_name("N");
  parser.add_option("--virtual-source", raw.virtualSource, "WAV file for the virtual inputs, looped")
      ->check(kNotEmpty)
      ->type_name("FILE");
  parser.add_option("--virtual-capture", raw.virtualCapture, "32-bit float WAV file of all virtual outputs")
      ->check(kNotEmpty)
      ->type_name("FILE");
  parser
      .add_option("--virtual-clock", raw.virtualClock,
                  "real: blocks in real time (default); fast: each block as soon as the last has returned")
      ->check(CLI::IsMember({"real", "fast"}).description(""))
      ->type_name("real|fast");
}

// Faults that only show when options are seen together. Empty when all is well.
std::string crossCheck(const Options& options) {
  for (const auto& [name, value] :
       {std::pair{"--sample-rate", options.sampleRate.value_or(0.0)}, {"--seconds", options.seconds}}) {
    if (!std::isfinite(value)) {
      return std::string(name) + ": is not a number";
    }
  }
  if (options.seconds > 0.0 && !options.start) {
    return "--seconds: needs --start, which makes the audio that it counts";
  }
  if (!options.stateDir.empty() && !platform::FolderExists(options.stateDir)) {
    return "--state-dir: " + platform::Utf8FromWide(options.stateDir) + " is not a folder";
  }
  return {};
}

}  // namespace

std::optional<Options> ParseOptions(const std::vector<std::string>& arguments, std::string& text, int& exitCode) {
  Options options;
  RawOptions raw;
  CLI::App parser("Tarnwick, a live-sound effects host", "tarnwick");
  addProgramOptions(parser, options, raw);
  addVirtualOptions(parser, options.virtualDevice, raw);
  try {
    // The parser takes them from the back.
    parser.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  } catch (const CLI::CallForHelp&) {
    text = parser.help();
    exitCode = 0;
    return std::nullopt;
  } catch (const CLI::Error& error) {
    text = std::string("tarnwick: ") + error.what() + "\nTry 'tarnwick --help'.\n";
    exitCode = 2;
    return std::nullopt;
  }
  if (!raw.device.empty()) {
    options.device = WideFromUtf8(raw.device);
  }
  options.plugin = WideFromUtf8(raw.plugin);
  options.stateDir = WideFromUtf8(raw.stateDir);
  options.settings = WideFromUtf8(raw.settings);
  options.validate = WideFromUtf8(raw.validate);
  options.debugLog = raw.logLevel == "debug";
  options.virtualDevice.sourceFile = WideFromUtf8(raw.virtualSource);
  options.virtualDevice.clock = raw.virtualClock == "fast" ? VirtualClock::fast : VirtualClock::real;
  options.virtualDevice.captureFile = WideFromUtf8(raw.virtualCapture);
  const std::string fault = crossCheck(options);
  if (!fault.empty()) {
    text = "tarnwick: " + fault + "\n";
    exitCode = 2;
    return std::nullopt;
  }
  return options;
}

}  // namespace tarnwick::app
