// The command line of a program of the tests, parsed by GLib.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <vector>

#include <glib.h>

inline namespace applist_test {

/** Stores the options in their entries. Ends the program after --help, and with status 2 when the
    arguments are wrong. */
inline void ParseOptions(int argc, char** argv, const char* summary,
                         std::vector<GOptionEntry> entries) {
    entries.push_back({});
    g_autoptr(GOptionContext) context = g_option_context_new(nullptr);
    g_option_context_set_summary(context, summary);
    g_option_context_add_main_entries(context, entries.data(), nullptr);
    g_autoptr(GError) error = nullptr;
    if (g_option_context_parse(context, &argc, &argv, &error) == FALSE || argc > 1) {
        std::fprintf(stderr, "%s: %s, see --help\n", argv[0],
                     error != nullptr ? error->message : "unexpected argument");
        std::exit(2);
    }
}

inline GOptionEntry NumberOption(const char* name, gint64& value, const char* description) {
    return {name, 0, 0, G_OPTION_ARG_INT64, &value, description, "N"};
}

inline GOptionEntry TextOption(const char* name, char*& value, const char* description) {
    return {name, 0, 0, G_OPTION_ARG_STRING, &value, description, "TEXT"};
}

inline GOptionEntry FlagOption(const char* name, gboolean& value, const char* description) {
    return {name, 0, 0, G_OPTION_ARG_NONE, &value, description, nullptr};
}

} // namespace applist_test
