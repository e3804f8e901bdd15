#include <check/JUnitFile.h>

#include <cstdio>
#include <fstream>
#include <iomanip>
#include <sstream>

#include <glib.h>

#include <check/Duties.h>

namespace applistctl {

namespace {

// The production "Char" of XML 1.0.
bool IsOfXml(gunichar character) {
    return character == 0x9 || character == 0xA || character == 0xD ||
           (character >= 0x20 && character <= 0xD7FF) ||
           (character >= 0xE000 && character <= 0xFFFD) ||
           (character >= 0x10000 && character <= 0x10FFFF);
}

void AppendEscaped(char byte, std::string& text) {
    static const char* const digits = "0123456789abcdef";
    const auto code = static_cast<unsigned char>(byte);
    text += "\\x";
    text += digits[code >> 4];
    text += digits[code & 0xf];
}

std::string InSecondsOnly(double seconds) {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed << std::setprecision(3) << seconds;
    return text.str();
}

std::string Attribute(const char* name, const std::string& value) {
    return " " + std::string(name) + "=\"" + JUnitFile::Escape(value) + "\"";
}

std::string Element(const char* name, const std::string& message) {
    return "<" + std::string(name) + Attribute("message", message) + "/>";
}

} // namespace

std::string JUnitFile::Escape(const std::string& text) {
    std::string legal;
    const char* const end = text.data() + text.size();
    for (const char* next = text.data(); next != end;) {
        const gunichar character = g_utf8_get_char_validated(next, end - next);
        if (IsOfXml(character)) {
            const char* const after = g_utf8_next_char(next);
            legal.append(next, after);
            next = after;
        } else {
            AppendEscaped(*next++, legal);
        }
    }
    g_autofree char* escaped =
        g_markup_escape_text(legal.data(), static_cast<gssize>(legal.size()));
    return escaped;
}

void JUnitFile::Add(int run, const CheckResult& result, double seconds,
                    const std::string& problem) {
    std::size_t failures = 0;
    std::size_t skipped = 0;
    std::string cases;
    for (const auto& [index, finding] : result.Findings()) {
        const RowText& row = Duties::AllRows()[static_cast<std::size_t>(index)];
        std::string content;
        if (result.IsRepaired(index)) {
            ++failures;
            content = Element("failure", "in the baseline, and not broken");
        } else if (result.IsKnown(index)) {
            ++skipped;
            content = Element("skipped", "in the baseline: " + finding.evidence);
        } else if (finding.grade == Grade::Broken) {
            ++failures;
            content = Element("failure", finding.evidence);
        } else if (finding.grade == Grade::NotSeen) {
            ++skipped;
            content = Element("skipped", "not seen: " + finding.evidence);
        } else {
            content = "<system-out>" +
                      Escape(std::string(WordOf(finding.grade)) + ": " + finding.evidence) +
                      "</system-out>";
        }
        const std::string name =
            row.key + ": " + row.text + " (" + Duties::Describe(row.statements) + ")";
        cases += "    <testcase" + Attribute("classname", std::string("partner.") + row.group) +
                 Attribute("name", name) + ">" + content + "</testcase>\n";
    }
    const std::size_t errors = problem.empty() ? 0 : 1;
    if (errors > 0) {
        cases += "    <testcase classname=\"partner\" name=\"the check itself\">" +
                 Element("error", problem) + "</testcase>\n";
    }
    m_suites += "  <testsuite" +
                Attribute("name", "applistctl check partner, run " + std::to_string(run)) +
                Attribute("tests", std::to_string(result.Findings().size() + errors)) +
                Attribute("failures", std::to_string(failures)) +
                Attribute("errors", std::to_string(errors)) +
                Attribute("skipped", std::to_string(skipped)) +
                Attribute("time", InSecondsOnly(seconds)) + ">\n" + cases + "  </testsuite>\n";
}

std::string JUnitFile::Text() const {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n" + m_suites +
           "</testsuites>\n";
}

// A pipe would lose its reader, and is not opened here.
std::string JUnitFile::FindProblem(const std::string& file) {
    const bool isNew = g_file_test(file.c_str(), G_FILE_TEST_EXISTS) == FALSE;
    if (!isNew && g_file_test(file.c_str(), G_FILE_TEST_IS_REGULAR) == FALSE &&
        g_file_test(file.c_str(), G_FILE_TEST_IS_DIR) == FALSE) {
        return "";
    }
    const bool isOpen = std::ofstream(file, std::ios::app).is_open();
    if (isOpen && isNew) {
        std::remove(file.c_str());
    }
    return isOpen ? "" : "cannot write " + file;
}

std::string JUnitFile::Write(const std::string& file) const {
    std::ofstream stream(file);
    stream << Text();
    stream.close();
    return stream ? "" : "cannot write " + file;
}

} // namespace applistctl
