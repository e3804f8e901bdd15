#include <shared/Script.h>

#include <shared/Lines.h>

namespace applistctl {

bool Script::Read(const std::string& file) {
    const std::string unread = ReadLines(file, m_lines);
    m_file = file;
    if (!unread.empty()) {
        m_output.Error(unread);
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
