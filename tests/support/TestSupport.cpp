#include "support/TestSupport.h"

#include <unistd.h>

#include <atomic>
#include <fstream>
#include <stdexcept>

#include "Velmar/SDK/Utils/StringConversion.h"

namespace testing_support {

std::string utf8(const XMLCh* text) {
    return Velmar::SDK::Utils::toUtf8(text).c_str();
}
Velmar::SDK::WString wide(const std::string& text) {
    return Velmar::SDK::Utils::stringToWstring(text.c_str());
}

std::filesystem::path fixture(const std::string& relative) {
    return std::filesystem::path(VELMAR_TESTS_DIR) / relative;
}

TempDir::TempDir() {
    static std::atomic<int> counter{0};
    path_ = std::filesystem::temp_directory_path() /
            ("velmar-test-" + std::to_string(::getpid()) + "-" + std::to_string(counter++));
    std::filesystem::create_directories(path_);
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all, ignored);
    std::filesystem::remove_all(path_, ignored);
}

std::filesystem::path TempDir::write(const std::string& name, const std::string& content) const {
    const auto file = path_ / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
}

std::string schema(const std::string& body, const std::string& rootAttributes) {
    return "<xs:schema xmlns:xs=\"http://www.w3.org/2001/XMLSchema\"" +
           (rootAttributes.empty() ? std::string() : " " + rootAttributes) + ">" + body +
           "</xs:schema>";
}

}  // namespace testing_support
