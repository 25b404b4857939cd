#include "remote/request_envelope.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <vector>

#include "text/json_writer.h"

namespace tarnwick::remote {
namespace {

// Walks through the text without recursion and takes the members of the outermost object; what is nested is only
// checked. Nesting takes a bit a level, so that none is too deep. Scalars are left to the library.
class EnvelopeReader : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, EnvelopeReader> {
 public:
  explicit EnvelopeReader(std::string_view text) : size_(text.size()), stream_(text.data(), text.size()) {}

  // False unless the text is one object with all that a request needs.
  bool read() { return readObject() && isRequest_ && !envelope_.id.empty() && !envelope_.path.empty(); }
  RequestEnvelope take() { return std::move(envelope_); }

  // The library calls these with a scalar.
  bool Int(int value) { return integer(value); }
  bool Uint(unsigned value) { return integer(value); }
  bool Int64(int64_t value) { return integer(value); }
  bool Uint64(uint64_t value) { return integer(value); }

  bool String(const char* text, rapidjson::SizeType length, bool /*copy*/) {
    if (!isMember()) {
      return true;
    }
    const std::string_view value(text, length);
    if (isName_) {
      name_ = value;
      return true;
    }
    Default();
    if (name_ == "type") {
      isRequest_ = value == "request";
    } else if (name_ == "method") {
      envelope_.method = value;
    } else if (name_ == "path") {
      envelope_.path = value;
    } else if (name_ == "body") {
      envelope_.body = value;
    }
    return true;
  }

  // Any value: as a member it takes the place of an earlier one of its name, and is itself of the wrong type.
  bool Default() {
    if (!isMember()) {
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
  bool isMember() const { return isObject_.size() == 1; }

  bool readObject() {
    if (!accept('{')) {
      return false;
    }
    isObject_.push_back(true);
    bool isFirst = true;  // in its container
    while (!isObject_.empty()) {
      if (accept(isObject_.back() ? '}' : ']')) {
        isObject_.pop_back();
        isFirst = false;
        continue;
      }
      if ((!isFirst && !accept(',')) || (isObject_.back() && !readName())) {
        return false;
      }
      const char next = peek();
      isFirst = next == '{' || next == '[';
      if (isFirst) {
        Default();
        stream_.Take();
        isObject_.push_back(next == '{');
      } else if (!readScalar()) {
        return false;
      }
    }
    peek();
    return stream_.Tell() == size_;  // the library takes a zero byte for the text's end
  }

  bool readName() {
    isName_ = true;
    const bool read = peek() == '"' && readScalar();
    isName_ = false;
    return read && accept(':');
  }

  // Behind the blanks.
  char peek() {
    rapidjson::SkipWhitespace(stream_);
    return stream_.Peek();
  }
  bool accept(char expected) {
    if (peek() != expected) {
      return false;
    }
    stream_.Take();
    return true;
  }
  bool readScalar() {
    constexpr unsigned kFlags = rapidjson::kParseStopWhenDoneFlag | rapidjson::kParseValidateEncodingFlag;
    return !reader_.Parse<kFlags>(stream_, *this).IsError();
  }

  template <typename Number>
  bool integer(Number value) {
    Default();
    if (isMember() && name_ == "id") {
      envelope_.id = std::to_string(value);
    }
    return true;
  }

  const size_t size_;
  rapidjson::MemoryStream stream_;
  rapidjson::Reader reader_;
  std::vector<bool> isObject_;  // each container around, the outermost first: an object, or an array
  bool isName_ = false;         // the next text is a member's name
  std::string name_;            // of the member being read
  RequestEnvelope envelope_;
  bool isRequest_ = false;
};

}  // namespace

std::optional<RequestEnvelope> ParseRequestEnvelope(std::string_view text) {
  EnvelopeReader envelope(text);
  return envelope.read() ? std::optional(envelope.take()) : std::nullopt;
}

std::string ResponseEnvelope(std::string_view id, int status, std::string_view body) {
  const bool ok = status >= 200 && status <= 299;
  text::JsonWriter envelope(80 + 2 * body.size() + body.size() / 8);
  envelope.open('{').member("type", "response").key("id").written(id).key("status").integer(status);
  envelope.key("ok").boolean(ok).member("bodyText", body).key("body").written(body);
  return envelope.close('}').take();
}

}  // namespace tarnwick::remote
