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
#include <vector>

#include <gmock/gmock.h>

#include <check/Duties.h>

using namespace applistctl;
using testing::IsEmpty;

namespace {

struct Statement {
    int count = 0;         ///< of its places in the documents
    bool isUnseen = false; ///< marked as not checked, with a reason
};

// "**P7**", or "**P12, not checked: the reason.**" over one or more lines.
std::map<int, Statement> StatementsOfTheDocuments() {
    std::map<int, Statement> statements;
    for (const char* const file : {"/docs/protocol.md", "/docs/partner-guide.md"}) {
        std::ifstream stream(std::string(DOCUMENTS) + file);
        const std::string text(std::istreambuf_iterator<char>(stream), {});
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

TEST(Statements, HaveDutiesWithKeysOfTheirOwn) {
    std::set<std::string> keys;
    for (const RowText& row : Duties::AllRows()) {
        EXPECT_TRUE(keys.insert(row.key).second) << row.key;
    }
}

} // namespace
