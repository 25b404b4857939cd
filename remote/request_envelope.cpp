#include "remote/request_envelope.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include "remote/documents.h"
#include "remote/http_head.h"

namespace tarnwick::remote {
namespace {

// Takes the members of the outermost object; what is nested is only checked.
class EnvelopeReader : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, EnvelopeReader> {
 public:
  bool complete() const { return sawObject_ && isRequest_ && !envelope_.id.empty() && !envelope_.path.empty(); }
  RequestEnvelope take() { return std::move(envelope_); }

  bool StartObject() {
    sawObject_ = sawObject_ || depth_ == 0;
    return open();
  }
  bool EndObject(rapidjson::SizeType /*members*/) { return close(); }
  bool StartArray() { return open(); }
  bool EndArray(rapidjson::SizeType /*elements*/) { return close(); }

  bool Key(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    if (depth_ == 1) {
      name_.assign(text, length);
    }
    return true;
  }

  bool Int(int value) { return integer(value); }
  bool Uint(unsigned value) { return integer(value); }
  bool Int64(int64_t value) { return integer(value); }
  bool Uint64(uint64_t value) { return integer(value); }

  bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    Default();
    if (depth_ != 1) {
      return true;
    }
    const std::string_view value(text, length);
    if (name_ == "type") {
      isRequest_ = value == "request";
    } else if (name_ == "method") {
      envelope_.method = value;
    } else if (name_ == "path") {
      envelope_.path = value.size() <= kMostHeadBytes ? value : std::string_view();
    } else if (name_ == "body") {
      envelope_.body = value;
    }
    return true;
  }

  // Any value: as a member it takes the place of an earlier one of its name, and is itself of the wrong type.
  bool Default() {
    if (depth_ != 1) {
      return true;
    }
    if (name_ == "type") {
      isRequest_ = false;
    } else if (name_ == "id") {
      envelope_.id.clear();
    } else if (name_ == "method") {
      envelope_.method = "POST";
    } else if (name_ == "path") {
      envelope_.path.clear();
    } else if (name_ == "body") {
      envelope_.body.clear();
    }
    return true;
  }

 private:
  static constexpr int kDeepest = 64;

  bool open() {
    Default();
    return ++depth_ <= kDeepest;
  }
  bool close() {
    --depth_;
    return true;
  }
  template <typename Number>
  bool integer(Number value) {
    Default();
    if (depth_ == 1 && name_ == "id") {
      envelope_.id = std::to_string(value);
    }
    return true;
  }

  RequestEnvelope envelope_;
  std::string name_;  // of the member being read
  int depth_ = 0;
  bool sawObject_ = false;  // the outermost value is one
  bool isRequest_ = false;
};

}  // namespace

std::optional<RequestEnvelope> ParseRequestEnvelope(std::string_view text) {
  constexpr unsigned kFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag;
  EnvelopeReader envelope;
  rapidjson::MemoryStream stream(text.data(), text.size());
  rapidjson::Reader reader;
  // The reader takes a zero byte for the text's end.
  if (reader.Parse<kFlags>(stream, envelope).IsError() || stream.Tell() != text.size() || !envelope.complete()) {
    return std::nullopt;
  }
  return envelope.take();
}

std::string ResponseEnvelope(std::string_view id, int status, std::string_view body) {
  const bool ok = status >= 200 && status <= 299;
  const std::string text = JsonStringUtf8(body);
  std::string envelope;
  envelope.reserve(80 + text.size() + body.size());
  envelope.append("{\"type\":\"response\",\"id\":").append(id);
  envelope.append(",\"status\":").append(std::to_string(status));
  envelope.append(ok ? ",\"ok\":true" : ",\"ok\":false");
  envelope.append(",\"bodyText\":").append(text);
  envelope.append(",\"body\":").append(body).push_back('}');
  return envelope;
}

}  // namespace tarnwick::remote
