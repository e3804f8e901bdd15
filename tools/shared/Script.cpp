#include <shared/Script.h>

#include <fstream>

namespace applistctl {

bool Script::Read(const std::string& file) {
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        m_lines.push_back(line);
    }
    m_file = file;
    if (!stream.is_open() || stream.bad()) {
        m_output.Error("cannot read " + file);
        return false;
    }
    bool isGood = true;
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
        const std::string problem = m_runner.FindProblem(m_lines[i]);
        if (!problem.empty()) {
            SetPlace(i);
            m_output.Error(problem);
            isGood = false;
        }
    }
    m_output.SetPlace("");
    return isGood;
}

bool Script::Run(const std::function<bool()>& stopped) {
    bool isGood = true;
    for (std::size_t i = 0; i < m_lines.size() && isGood && !stopped(); ++i) {
        SetPlace(i);
        isGood = m_runner.RunLine(m_lines[i]);
    }
    m_output.SetPlace("");
    return isGood;
}

void Script::SetPlace(std::size_t line) {
    m_output.SetPlace(m_file + ":" + std::to_string(line + 1));
}

} // namespace applistctl
