#include "CaptureProcess.h"

#include <csignal>
#include <fstream>
#include <sstream>

#include <fcntl.h>
#include <unistd.h>

#include "BusDaemon.h"
#include "MainLoop.h"

namespace {

std::string Contents(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

} // namespace

CaptureProcess::CaptureProcess(const PrivateBus& bus, std::vector<std::string> command,
                               const std::string& file)
    : m_file(file), m_connection(bus.Connect()) {
    command.push_back(bus.Address());
    const auto writeToFile = [&file] {
        dup2(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), STDOUT_FILENO);
    };
    m_process = std::make_unique<Process>(command, Process::Setup{{}, writeToFile, true});
}

// The bus handles messages in order: messages before the mark are before it in the file.
bool CaptureProcess::WaitForAMark(const std::string& mark) const {
    return MainLoop::IterateUntil([&] {
        BusDaemon::Call(m_connection.get(), "NameHasOwner", g_variant_new("(s)", mark.c_str()));
        return Contents(m_file).find(mark) != std::string::npos;
    });
}

bool CaptureProcess::Finish() {
    const bool complete = WaitForAMark("org.example.End");
    m_process->Kill(SIGINT);
    m_process->WaitForExitWithoutIterating();
    return complete;
}
