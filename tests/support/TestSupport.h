#pragma once

#include <filesystem>
#include <string>

#include "Velmar/SDK/Templates/String.h"

namespace testing_support {

// UTF-8 of a 16-bit text, for readable assertions.
std::string utf8(const XMLCh* text);
inline std::string utf8(const Velmar::SDK::WString& text) {
    return utf8(text.c_str());
}
Velmar::SDK::WString wide(const std::string& text);

std::filesystem::path fixture(const std::string& relative);

// A fresh directory removed with the object.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path write(const std::string& name, const std::string& content) const;

  private:
    std::filesystem::path path_;
};

// A schema whose root declares xs, around the given top-level content.
std::string schema(const std::string& body, const std::string& rootAttributes = "");

}  // namespace testing_support
