// Replacement of bytes that are no text.

#include "tools/utf8.h"

#include <nlohmann/json.hpp>

namespace oznatool {

std::string asUtf8(const std::string& name) {
  // There and back through JSON, so that both sides agree on how many bytes one mark stands for.
  using Json = nlohmann::json;
  const std::string text =
      Json(name).dump(/*indent=*/-1, ' ', /*ensure_ascii=*/false, Json::error_handler_t::replace);
  return Json::parse(text).get<std::string>();
}

}  // namespace oznatool
