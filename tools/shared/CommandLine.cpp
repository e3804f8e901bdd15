#include <shared/CommandLine.h>

#include <algorithm>
#include <iostream>

#include <gio/gio.h>

#include <shared/ExitStatus.h>
#include <shared/ItemListing.h>
#include <shared/Output.h>

namespace applistctl {

namespace {

// The help of GLib contains a character that plain terminals lack.
std::string WithPlainDots(std::string text) {
    static const std::string ellipsis = "\xe2\x80\xa6";
    for (auto at = text.find(ellipsis); at != std::string::npos; at = text.find(ellipsis)) {
        text.replace(at, ellipsis.size(), "...");
    }
    return text;
}

// GLib passes the name with its dashes, and null as the value of an option without a parameter.
gboolean OnVerbOption(const char* name, const char* value, void* data, GError** /*error*/) {
    static_cast<CommandLine*>(data)->options[name + 2] = value != nullptr ? value : "";
    return TRUE;
}

std::vector<GOptionEntry> EntriesFor(const std::vector<VerbOption>& options) {
    std::vector<GOptionEntry> entries;
    for (const VerbOption& option : options) {
        const int flags = option.parameter != nullptr ? 0 : G_OPTION_FLAG_NO_ARG;
        entries.push_back({option.name, 0, flags, G_OPTION_ARG_CALLBACK,
                           reinterpret_cast<void*>(OnVerbOption), option.help, option.parameter});
    }
    return entries;
}

GOptionContext* MakeContext(const Usage& usage, const GOptionEntry* entries, CommandLine& line) {
    g_set_prgname(usage.program.c_str());
    GOptionContext* const context = g_option_context_new(usage.parameters.c_str());
    g_option_context_set_summary(context, usage.summary.c_str());
    g_option_context_set_description(context, usage.description.c_str());
    g_option_context_set_strict_posix(context, usage.hasVerbs ? TRUE : FALSE);
    // GLib's own --help would exit from inside the parser.
    g_option_context_set_help_enabled(context, FALSE);
    GOptionGroup* const group = g_option_group_new("", "", "", &line, nullptr);
    g_option_group_add_entries(group, entries);
    g_option_context_set_main_group(context, group);
    return context;
}

GStrv CopyWords(const Usage& usage, const std::vector<std::string>& words) {
    auto* const copy = g_new0(char*, words.size() + 2);
    copy[0] = g_strdup(usage.program.c_str());
    for (std::size_t i = 0; i < words.size(); ++i) {
        copy[i + 1] = g_strdup(words[i].c_str());
    }
    return copy;
}

bool TakesValue(const GOptionEntry& entry) {
    return entry.arg != G_OPTION_ARG_NONE && (entry.flags & G_OPTION_FLAG_NO_ARG) == 0;
}

// GLib accepts "--json=1" and drops the value. @return the name of such an option, or an empty text
std::string FindFlagWithValue(const Usage& usage, const std::vector<GOptionEntry>& entries,
                              const std::vector<std::string>& words) {
    for (std::size_t i = 0; i < words.size() && words[i] != "--"; ++i) {
        const bool isOption = words[i].rfind("--", 0) == 0;
        if (!isOption && usage.hasVerbs) {
            break;
        }
        const std::size_t end = words[i].find('=');
        std::string name = isOption ? words[i].substr(0, end) : "";
        const auto entry =
            std::find_if(entries.begin(), entries.end(), [&](const GOptionEntry& one) {
                return one.long_name != nullptr && name == std::string("--") + one.long_name;
            });
        if (entry == entries.end()) {
            continue;
        }
        if (end != std::string::npos && !TakesValue(*entry)) {
            return name;
        }
        i += end == std::string::npos && TakesValue(*entry) ? 1 : 0; // the next word is the value
    }
    return "";
}

} // namespace

CommandLine ReadCommandLine(const Usage& usage, const std::vector<std::string>& words) {
    gboolean help = FALSE;
    gboolean version = FALSE;
    g_autofree char* bus = nullptr;
    g_auto(GStrv) rest = nullptr;
    CommandLine line;
    std::vector<GOptionEntry> entries = EntriesFor(usage.options);
    entries.insert(
        entries.end(),
        {{"bus", 0, 0, G_OPTION_ARG_STRING, &bus,
          "Use the bus at this D-Bus address (default: the system bus)", "ADDRESS"},
         {"help", 'h', 0, G_OPTION_ARG_NONE, &help, "Show this help", nullptr},
         {"version", 0, 0, G_OPTION_ARG_NONE, &version, "Show the version", nullptr},
         {G_OPTION_REMAINING, 0, 0, G_OPTION_ARG_FILENAME_ARRAY, &rest, nullptr, nullptr},
         {nullptr, 0, 0, G_OPTION_ARG_NONE, nullptr, nullptr, nullptr}});
    const std::string flag = FindFlagWithValue(usage, entries, words);
    if (!flag.empty()) {
        line.exitStatus = WrongUsage(usage.program, flag + " takes no value");
        return line;
    }
    g_autoptr(GOptionContext) context = MakeContext(usage, entries.data(), line);
    g_auto(GStrv) copy = CopyWords(usage, words);
    g_autoptr(GError) error = nullptr;

    if (g_option_context_parse_strv(context, &copy, &error) == FALSE) {
        line.exitStatus = WrongUsage(usage.program, error->message);
    } else if (help != FALSE) {
        g_autofree char* text = g_option_context_get_help(context, TRUE, nullptr);
        Output(usage.program).Help(WithPlainDots(text));
        line.exitStatus = EXIT_STATUS_DONE;
    } else if (version != FALSE) {
        Output(usage.program).Line("applistctl " APPLIST_VERSION);
        line.exitStatus = EXIT_STATUS_DONE;
    } else if (bus != nullptr && g_dbus_is_address(bus) == FALSE) {
        line.exitStatus =
            WrongUsage(usage.program, "\"" + std::string(bus) + "\" is not a D-Bus address");
    }
    line.bus = bus != nullptr ? bus : "";
    for (char** word = rest; word != nullptr && *word != nullptr; ++word) {
        line.arguments.emplace_back(*word);
    }
    return line;
}

int WrongOption(const std::string& program, const CommandLine& line, const std::string& option,
                const std::string& wanted) {
    return WrongUsage(program, "--" + option + " takes " + wanted + ", not \"" +
                                   line.Value(option, "") + "\"");
}

int WrongUsage(const std::string& program, const std::string& problem) {
    std::cerr << program << ": " << ItemListing::Printable(problem) << "\nTry '" << program
              << " --help'." << std::endl;
    return EXIT_STATUS_USAGE;
}

} // namespace applistctl
