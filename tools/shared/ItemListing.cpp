#include <shared/ItemListing.h>

#include <algorithm>

#include <glib.h>

#include <shared/Counted.h>

namespace applistctl {

namespace {

constexpr std::size_t MAX_COLUMN = 32;

std::size_t NameColumn(const std::vector<ListedItem>& items) {
    std::size_t widest = 0;
    for (const ListedItem& item : items) {
        widest = std::max(widest, ItemListing::Width(ItemListing::Printable(item.name)));
    }
    return std::min(widest, MAX_COLUMN);
}

std::string InColumns(const ListedItem& item, std::size_t column) {
    const std::string name = ItemListing::Printable(item.name);
    const std::size_t width = ItemListing::Width(name);
    return name + std::string(width < column ? column - width : 0, ' ') + "  " +
           ItemListing::Printable(item.id);
}

bool IsControl(gunichar character) {
    const bool isSeparator = character == 0x2028 || character == 0x2029; // of lines and paragraphs
    return character < 0x20 || (character >= 0x7f && character < 0xa0) || isSeparator;
}

// The controls of the bidirectional algorithm. They can change the order of the whole line.
bool ChangesOrder(gunichar character) {
    return character == 0x61c || character == 0x200e || character == 0x200f ||
           (character >= 0x202a && character <= 0x202e) ||
           (character >= 0x2066 && character <= 0x2069);
}

// The length of the character at @p next; 0 for a control character and for a byte outside UTF-8.
std::size_t CharacterLength(const char* next, const char* end) {
    const gunichar character = g_utf8_get_char_validated(next, end - next);
    constexpr auto MALFORMED = static_cast<gunichar>(-2);
    if (character >= MALFORMED || IsControl(character) || ChangesOrder(character)) {
        return 0;
    }
    return static_cast<std::size_t>(g_utf8_next_char(next) - next);
}

void AppendEscaped(char byte, std::string& text) {
    static const char* const digits = "0123456789abcdef";
    const auto code = static_cast<unsigned char>(byte);
    text += "\\x";
    text += digits[code >> 4];
    text += digits[code & 0xf];
}

} // namespace

namespace ItemListing {

std::size_t Width(const std::string& text) {
    return g_utf8_validate(text.c_str(), -1, nullptr) != FALSE
               ? static_cast<std::size_t>(g_utf8_strlen(text.c_str(), -1))
               : text.size();
}

std::string Count(std::size_t items) {
    return Counted(items, "item");
}

std::string Describe(const ListedItem& item) {
    return Printable(item.name) + " (" + Printable(item.id) + ")";
}

void ShowItems(Output& output, const std::vector<ListedItem>& items) {
    const std::size_t column = NameColumn(items);
    for (const ListedItem& item : items) {
        output.Line("     " + InColumns(item, column));
    }
}

void ShowList(Output& output, const std::vector<ListedItem>& items, const ListedItem* selection) {
    output.Line("list: " + Count(items.size()));
    const std::size_t column = NameColumn(items);
    const std::size_t digits = std::to_string(items.size()).size();
    bool marked = false;
    for (std::size_t i = 0; i < items.size(); ++i) {
        const std::string number = std::to_string(i + 1);
        const bool isSelected = !marked && selection != nullptr && items[i].id == selection->id;
        marked = marked || isSelected;
        output.Line((isSelected ? "  * " : "    ") + std::string(digits - number.size(), ' ') +
                    number + "  " + InColumns(items[i], column));
    }
    output.Line("selection: " + (selection != nullptr ? Describe(*selection) : "none"));
}

std::string Printable(const std::string& text) {
    std::string printable;
    const char* const end = text.data() + text.size();
    for (const char* next = text.data(); next != end;) {
        const std::size_t length = CharacterLength(next, end);
        if (length != 0) {
            printable.append(next, length);
            next += length;
        } else {
            AppendEscaped(*next++, printable);
        }
    }
    return printable;
}

std::string PrintableJson(const std::string& json) {
    std::string printable;
    for (const char* next = json.c_str(); *next != '\0'; next = g_utf8_next_char(next)) {
        const gunichar character = g_utf8_get_char(next);
        if (IsControl(character) || ChangesOrder(character)) {
            char escaped[8];
            g_snprintf(escaped, sizeof(escaped), "\\u%04x", character);
            printable += escaped;
        } else {
            printable.append(next, static_cast<std::size_t>(g_utf8_next_char(next) - next));
        }
    }
    return printable;
}

} // namespace ItemListing

} // namespace applistctl
