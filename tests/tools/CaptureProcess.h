// Another program that captures a test's bus into a file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <gio/gio.h>

#include "Owners.h"
#include "PrivateBus.h"
#include "Process.h"

inline namespace applist_test {

class CaptureProcess {
public:
    /** @param command gets the bus's address as its last argument */
    CaptureProcess(const PrivateBus& bus, std::vector<std::string> command,
                   const std::string& file);

    const std::string& File() const { return m_file; }

    /** Waits until the process captures the messages of the bus. */
    bool WaitUntilCapturing() { return WaitForAMark("org.example.Begin"); }

    /** Waits until all messages of the bus are in the file, and ends the process. */
    bool Finish();

private:
    bool WaitForAMark(const std::string& mark) const;

    std::string m_file;
    ConnectionOwner m_connection;
    std::unique_ptr<Process> m_process;
};

} // namespace applist_test
