// A folder that exists until the end of the test.
#pragma once

#include <string>

inline namespace applist_test {

class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return m_path; }

    /** Writes a file, and creates its parent folders. @return its path */
    std::string Write(const std::string& name, const std::string& text) const;

private:
    std::string m_path;
};

} // namespace applist_test
