#include "platform/startup_link.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/files.h"
#include "platform/linux/startup_entry.h"
#include "platform/linux/user_folders.h"
#include "platform/text.h"

namespace tarnwick::platform {
namespace {

std::string linkPath() {
  const std::string folder = ConfigurationFolder();
  return folder.empty() ? folder : folder + "/autostart/tarnwick.desktop";
}

// One argument of a desktop entry's Exec line, by freedesktop.org's rules: quoted as a shell would have it in double
// quotes, per cent signs doubled against the field codes, and the whole escaped once more as every string of such a
// file is.
std::string execArgument(std::string_view argument) {
  std::string quoted = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '`' || c == '$' || c == '\\') {
      quoted += '\\';
    } else if (c == '%') {
      quoted += '%';
    }
    quoted += c;
  }
  quoted += '"';
  std::string escaped;
  for (const char c : quoted) {
    switch (c) {
      case '\\':
        escaped += "\\\\";
        break;
      case '\n':
        escaped += "\\n";
        break;
      case '\r':
        escaped += "\\r";
        break;
      case '\t':
        escaped += "\\t";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

}  // namespace

std::string DesktopEntryFor(std::string_view program) {
  return "[Desktop Entry]\n"
         "Type=Application\n"
         "Name=Tarnwick\n"
         "Exec=" +
         execArgument(program) +
         "\n"
         "Terminal=false\n";
}

bool CreateStartupLink() {
  const std::string path = linkPath();
  const std::string program = OwnExecutable();
  return !path.empty() && !program.empty() && ReplaceFileContents(WideFromUtf8(path), DesktopEntryFor(program));
}

bool RemoveStartupLink() {
  const std::string path = linkPath();
  return path.empty() || unlink(path.c_str()) == 0 || errno == ENOENT || errno == ENOTDIR;
}

bool StartupLinkExists() {
  struct stat status {};
  const std::string path = linkPath();
  return !path.empty() && stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace tarnwick::platform
