#include "TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

TemporaryFolder::TemporaryFolder() {
    char path[] = "/tmp/applist-test-XXXXXX";
    if (mkdtemp(path) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    m_path = path;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string TemporaryFolder::Write(const std::string& name, const std::string& text) const {
    const std::filesystem::path path = std::filesystem::path(m_path) / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
    return path.string();
}
