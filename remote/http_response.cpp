#include "remote/http_response.h"

namespace tarnwick::remote {

std::string_view HttpStatusText(int status) {
  switch (status) {
    case 200:
      return "200 OK";
    case 202:
      return "202 Accepted";
    case 400:
      return "400 Bad Request";
    case 403:
      return "403 Forbidden";
    case 404:
      return "404 Not Found";
    case 405:
      return "405 Method Not Allowed";
    case 503:
      return "503 Service Unavailable";
    default:
      return "500 Internal Server Error";
  }
}

std::string BuildHttpResponse(std::string_view statusText, std::string_view contentType, std::string_view body) {
  std::string answer;
  answer.reserve(160 + body.size());
  answer.append("HTTP/1.1 ").append(statusText);
  answer.append("\r\nContent-Type: ").append(contentType);
  answer.append("\r\nContent-Length: ").append(std::to_string(body.size()));
  answer.append("\r\nConnection: close\r\nCache-Control: no-store\r\n\r\n");
  answer.append(body);
  return answer;
}

}  // namespace tarnwick::remote
