// The files of the page, which are part of the program.
#pragma once

#include <span>
#include <string_view>

namespace tarn::http {

struct PageFile {
  std::string_view path;  ///< "/page.css"; "/" for index.html
  std::string_view contentType;
  std::string_view bytes;
};

std::span<const PageFile> PageFiles();

}  // namespace tarn::http
