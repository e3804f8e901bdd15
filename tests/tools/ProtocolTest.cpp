// The table of requests and notifications, and the documents that repeat it: a row that is missing
// on either side fails.
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <shared/Protocol.h>

using namespace applistctl;
using testing::ElementsAreArray, testing::HasSubstr;

namespace {

using Rows = std::vector<std::string>;

std::string Document(const std::string& file) {
    std::ifstream stream(DOCUMENTS + ("/" + file));
    EXPECT_TRUE(stream.is_open()) << file;
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// The lines between one heading, or another line that starts with @p start, and the next one.
std::string Section(const std::string& text, const std::string& start, const std::string& end) {
    const std::size_t from = text.find("\n" + start);
    EXPECT_NE(from, std::string::npos) << "no line starts with " << start;
    if (from == std::string::npos) {
        return "";
    }
    const std::size_t body = text.find('\n', from + 1);
    return text.substr(body, text.find("\n" + end, body) - body);
}

// The groups of each line that @p pattern matches, with a space between them.
Rows Matches(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    Rows rows;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::smatch match;
        if (std::regex_search(line, match, regex)) {
            std::string row = match.str(1);
            for (std::size_t i = 2; i < match.size(); ++i) {
                row += " " + match.str(i);
            }
            rows.push_back(row);
        }
    }
    return rows;
}

std::string Payload(const RequestKind& kind) {
    if (kind.minRecords != kind.maxRecords) {
        return "item stream";
    }
    static const char* const payloads[] = {"none", "one record", "two records"};
    return kind.maxRecords < std::size(payloads) ? payloads[kind.maxRecords] : "unknown";
}

TEST(ProtocolTable, HasEachIdNameAndWordOnce) {
    std::set<int> ids;
    std::set<std::string> texts;
    for (const RequestKind& kind : Protocol::REQUESTS) {
        EXPECT_TRUE(ids.insert(kind.id).second) << kind.name;
        EXPECT_TRUE(texts.insert(kind.name).second) << kind.name;
        EXPECT_TRUE(texts.insert(kind.word).second) << kind.name;
        EXPECT_LE(kind.minRecords, kind.maxRecords) << kind.name;
    }
    texts.clear();
    for (const NotificationKind& kind : Protocol::NOTIFICATIONS) {
        EXPECT_TRUE(ids.insert(kind.id).second) << kind.name;
        EXPECT_TRUE(texts.insert(kind.name).second) << kind.name;
        EXPECT_TRUE(texts.insert(kind.word).second) << kind.name;
    }
}

TEST(ProtocolTable, IsFoundByIdAndByWord) {
    EXPECT_STREQ(Protocol::FindRequest(2004)->name, "APPLIST_ADD_ITEMS_FNC");
    EXPECT_EQ(Protocol::FindRequest("append")->id, APPLIST_ADD_ITEM_AT_END_FNC);
    EXPECT_STREQ(Protocol::FindNotification(3)->name, "APPLIST_ITEM_CLICKED_EVENT");
    EXPECT_EQ(Protocol::FindRequest(2002), nullptr);
    EXPECT_EQ(Protocol::FindRequest("appends"), nullptr);
    EXPECT_EQ(Protocol::FindNotification(0), nullptr);
    EXPECT_EQ(Protocol::RequestTitle(2004), "APPLIST_ADD_ITEMS_FNC (2004)");
    EXPECT_EQ(Protocol::RequestTitle(2002), "2002");
}

TEST(ProtocolDocument, ListsTheRequestsOfTheTable) {
    Rows table;
    for (const RequestKind& kind : Protocol::REQUESTS) {
        table.push_back(std::to_string(kind.id) + " " + kind.name + " " + Payload(kind));
    }
    const std::string section = Section(Document("docs/protocol.md"), "## Requests", "## ");
    EXPECT_THAT(Matches(section, R"(^\| (\d+) \| `(\w+)` \| ([^|:]*)(?::[^|]*)? \|)"),
                ElementsAreArray(table));
}

TEST(ProtocolDocument, ListsTheNotificationsOfTheTable) {
    Rows table;
    for (const NotificationKind& kind : Protocol::NOTIFICATIONS) {
        table.push_back(std::to_string(kind.id) + " " + kind.name);
    }
    const std::string section = Section(Document("docs/protocol.md"), "## Notifications", "## ");
    EXPECT_THAT(Matches(section, R"(^\| (\d+) \| `(\w+)` \|)"), ElementsAreArray(table));
}

TEST(ManualPage, ListsTheRequestsAndNotificationsOfTheTable) {
    Rows table;
    for (const RequestKind& kind : Protocol::REQUESTS) {
        table.push_back(std::to_string(kind.id) + " " + kind.name + " " + kind.word);
    }
    for (const NotificationKind& kind : Protocol::NOTIFICATIONS) {
        table.push_back(std::to_string(kind.id) + " " + kind.name + " " + kind.word);
    }
    const std::string section =
        Section(Document("data/applistctl.1"), ".SH REQUESTS AND NOTIFICATIONS", ".SH ");
    EXPECT_THAT(Matches(section, R"(^(\d+) +(\w+) +(\w+)$)"), ElementsAreArray(table));
}

TEST(ManualPage, NamesTheWordsOfTheRequests) {
    EXPECT_THAT(Document("data/applistctl.1"), HasSubstr(Protocol::RequestWords()));
}

TEST(CheckingAPartner, NamesTheWordsOfTheRequests) {
    std::string words;
    for (const RequestKind& kind : Protocol::REQUESTS) {
        words += (words.empty() ? "`" : ", `") + std::string(kind.word) + "`";
    }
    EXPECT_THAT(Document("docs/checking-a-partner.md"), HasSubstr(words + "."));
}

// The files that a section of CONTRIBUTING.md lists.
Rows ListedFiles(const std::string& heading) {
    Rows files = Matches(Section(Document("CONTRIBUTING.md"), heading, "## "), "^- `([^`]+)`:");
    EXPECT_FALSE(files.empty()) << heading;
    return files;
}

bool Names(const std::string& text, const std::string& name) {
    return std::regex_search(text, std::regex("\\b" + name + "\\b"));
}

TEST(Contributing, ListsFilesThatNameEachRequest) {
    for (const std::string& file : ListedFiles("## Adding a request")) {
        const std::string text = Document(file);
        for (const RequestKind& kind : Protocol::REQUESTS) {
            EXPECT_TRUE(Names(text, kind.name) || Names(text, std::to_string(kind.id)) ||
                        text.find("`" + std::string(kind.word) + "`") != std::string::npos)
                << file << " does not name " << kind.name << " (" << kind.id << ")";
        }
    }
}

// The forms in which files name a notification.
std::vector<std::regex> FormsOf(const NotificationKind& kind) {
    const std::string word = kind.word;
    const std::string id = std::to_string(kind.id);
    return {std::regex(std::string("\\b") + kind.name + "\\b"),
            std::regex("\"notification-" + word + "\""),        // the key of a duty
            std::regex("\\b" + word + "\\w* *= *" + id + "\\b", // a constant of a partner
                       std::regex::icase),
            std::regex("\\bnotification " + id + "\\b")};
}

// A file names all notifications in one form, that of the first notification.
TEST(Contributing, ListsFilesThatNameEachNotification) {
    const std::vector<std::regex> forms = FormsOf(Protocol::NOTIFICATIONS[0]);
    for (const std::string& file : ListedFiles("## Adding a notification")) {
        const std::string text = Document(file);
        std::size_t form = 0;
        while (form < forms.size() && !std::regex_search(text, forms[form])) {
            ++form;
        }
        ASSERT_LT(form, forms.size()) << file << " names no notification";
        for (const NotificationKind& kind : Protocol::NOTIFICATIONS) {
            EXPECT_TRUE(std::regex_search(text, FormsOf(kind)[form]))
                << file << " does not name " << kind.name << " (" << kind.id << ")";
        }
    }
}

} // namespace
