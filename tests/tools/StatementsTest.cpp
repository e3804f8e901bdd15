// The numbered statements about the partner: docs/protocol.md and docs/partner-guide.md contain
// each one once, the duties of "applistctl check partner" name those that they prove, and the
// documents give the reason for each statement without a possible check.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include <check/Duties.h>

using namespace applistctl;

namespace {

struct Statement {
    int count = 0;         ///< of its places in the documents
    bool isUnseen = false; ///< marked as not checked, with a reason
};

std::string Document(const std::string& file) {
    std::ifstream stream(DOCUMENTS + file);
    EXPECT_TRUE(stream.is_open()) << file;
    return {std::istreambuf_iterator<char>(stream), {}};
}

// "**P7**", or "**P12, not checked: the reason.**" over one or more lines.
std::map<int, Statement> StatementsOfTheDocuments() {
    std::map<int, Statement> statements;
    for (const char* const file : {"/docs/protocol.md", "/docs/partner-guide.md"}) {
        const std::string text = Document(file);
        const std::regex pattern(R"(\*\*P([0-9]+)(, not checked: [a-z][^*]{20,}\.)?\*\*)");
        for (std::sregex_iterator next(text.begin(), text.end(), pattern), end; next != end;
             ++next) {
            Statement& statement = statements[std::stoi(next->str(1))];
            ++statement.count;
            statement.isUnseen = next->length(2) != 0;
        }
    }
    return statements;
}

std::set<int> StatementsOfTheDuties() {
    std::set<int> numbers;
    for (const RowText& row : Duties::AllRows()) {
        numbers.insert(row.statements.begin(), row.statements.end());
    }
    return numbers;
}

TEST(Statements, AreNumberedWithoutAGapAndStandOnceInTheDocuments) {
    int expected = 0;
    for (const auto& [number, statement] : StatementsOfTheDocuments()) {
        EXPECT_EQ(number, ++expected);
        EXPECT_EQ(statement.count, 1) << "P" << number;
    }
    EXPECT_EQ(expected, Duties::STATEMENTS);
}

TEST(Statements, AreProvenByADutyOrMarkedAsNotChecked) {
    const std::set<int> proven = StatementsOfTheDuties();
    for (const auto& [number, statement] : StatementsOfTheDocuments()) {
        EXPECT_NE(proven.count(number) != 0, statement.isUnseen) << "P" << number;
    }
}

TEST(Statements, OfTheDutiesStandInTheDocuments) {
    const std::map<int, Statement> documented = StatementsOfTheDocuments();
    for (const RowText& row : Duties::AllRows()) {
        EXPECT_FALSE(row.statements.empty()) << row.key;
        for (const int number : row.statements) {
            EXPECT_EQ(documented.count(number), 1U) << row.key << " names P" << number;
        }
    }
}

TEST(QuotedResults, CountTheDutiesAndTheStatements) {
    const std::string passed = std::to_string(Duties::AllRows().size()) + " passed, 0 weak";
    const std::string proven = " of " + std::to_string(Duties::STATEMENTS) + " statements proven";
    const std::pair<const char*, std::string> quotations[] = {
        {"/docs/protocol.md", passed},
        {"/docs/partner-in-java.md", passed},
        {"/docs/checking-a-partner.md", proven}};
    for (const auto& [file, quotation] : quotations) {
        EXPECT_NE(Document(file).find(quotation), std::string::npos)
            << file << " lacks \"" << quotation << '"';
    }
}

TEST(Statements, HaveDutiesWithKeysOfTheirOwn) {
    std::set<std::string> keys;
    for (const RowText& row : Duties::AllRows()) {
        EXPECT_TRUE(keys.insert(row.key).second) << row.key;
    }
}

} // namespace
