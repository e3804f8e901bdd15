// The results of a check as a JUnit file: one suite for each run, one case for each duty.
#ifndef APPLIST_TOOLS_JUNITFILE_H
#define APPLIST_TOOLS_JUNITFILE_H

#include <string>

#include <check/CheckResult.h>

namespace applistctl {

class JUnitFile {
public:
    /** @param problem why the check did not reach its end; empty for none */
    void Add(int run, const CheckResult& result, double seconds, const std::string& problem);

    /** Tests before a long check whether @p file can be written. @return as Write() */
    static std::string FindProblem(const std::string& file);

    /** @return the problem, or an empty text */
    std::string Write(const std::string& file) const;

    std::string Text() const;

    /**
     * For an attribute or an element. XML cannot contain some characters, and UTF-8 is the encoding
     * of the file: each byte of such a character becomes \xNN.
     */
    static std::string Escape(const std::string& text);

private:
    std::string m_suites;
};

} // namespace applistctl

#endif
