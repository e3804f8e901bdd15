#include "PartnerProcess.h"

#include <sstream>

#include "Hex.h"

namespace {

// The emulator of a cross build comes first, then the program: parts with a '|' between them.
std::vector<std::string> Words(const std::vector<std::string>& options) {
    std::vector<std::string> words;
    std::istringstream stream(APPLIST_TEST_PARTNER);
    for (std::string part; std::getline(stream, part, '|');) {
        if (!part.empty()) {
            words.push_back(part);
        }
    }
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

std::string FirstWord(const std::string& line) {
    return line.substr(0, line.find(' '));
}

} // namespace

PartnerProcess::PartnerProcess(const std::vector<std::string>& options)
    : m_process(Words(options), {{}, {}, true}), m_name(m_process.ReadLine().substr(5)) {}

std::string PartnerProcess::Ask(const std::string& line) {
    SendCommand(line);
    const std::string word = FirstWord(line);
    for (;;) {
        const std::string answer = m_process.ReadLine();
        if (FirstWord(answer) == word) {
            return answer.substr(word.size());
        }
    }
}

void PartnerProcess::Kill() {
    m_process.Kill(SIGKILL);
    WaitForExit();
}

int PartnerProcess::Leave() {
    m_process.CloseInput();
    return WaitForExit();
}

std::pair<std::string, std::string> PartnerProcess::List() {
    std::istringstream answer(Ask("list"));
    std::string stream;
    std::string selection;
    answer >> stream >> selection;
    return {Hex::Bytes(stream), Hex::Bytes(selection)};
}

std::vector<std::string> PartnerProcess::Requests() {
    std::istringstream answer(Ask("requests"));
    std::vector<std::string> requests;
    for (std::string text; answer >> text;) {
        requests.push_back(Hex::Bytes(text));
    }
    return requests;
}
