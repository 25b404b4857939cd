#include "remote/http_query.h"

namespace tarnwick::remote {
namespace {

// -1 for anything but a hexadecimal digit.
int hexDigit(char c) {
  if (c >= '0' && c <= '9') {
    return c - '0';
  }
  if (c >= 'a' && c <= 'f') {
    return c - 'a' + 10;
  }
  return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

}  // namespace

std::string DecodeQueryText(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (size_t k = 0; k < text.size(); ++k) {
    if (text[k] == '%' && text.size() - k > 2 && hexDigit(text[k + 1]) >= 0 && hexDigit(text[k + 2]) >= 0) {
      decoded.push_back(static_cast<char>(hexDigit(text[k + 1]) * 16 + hexDigit(text[k + 2])));
      k += 2;
    } else {
      decoded.push_back(text[k] == '+' ? ' ' : text[k]);
    }
  }
  return decoded;
}

QueryParameters ParseQuery(std::string_view query) {
  QueryParameters parameters;
  while (!query.empty()) {
    const size_t end = query.find('&');
    const std::string_view pair = query.substr(0, end);
    query.remove_prefix(end == std::string_view::npos ? query.size() : end + 1);
    if (pair.empty()) {
      continue;
    }
    const size_t equals = pair.find('=');
    const std::string_view value = equals == std::string_view::npos ? std::string_view{} : pair.substr(equals + 1);
    parameters[DecodeQueryText(pair.substr(0, equals))] = DecodeQueryText(value);
  }
  return parameters;
}

SplitTarget ParseTarget(std::string_view target) {
  const size_t mark = target.find('?');
  if (mark == std::string_view::npos) {
    return {std::string(target), {}};
  }
  return {std::string(target.substr(0, mark)), ParseQuery(target.substr(mark + 1))};
}

}  // namespace tarnwick::remote
