// A platform log for automotive DLT (Diagnostic Log and Trace): each line of the library becomes a
// DLT message of the host process, in the context LIST.
//
// docs/porting.md shows how the library is built with it.
#include <common/LogSettings.h>
#include <common/PlatformLog.h>
#include <common/StandardError.h>

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include <dlt/dlt.h>

namespace {

// A DLT message has 1390 bytes unless the host sets DLT_LOG_MSG_BUF_LEN; libdlt marks a cut line.
constexpr std::size_t LINE_CAPACITY = 4096;

DltLogLevelType LevelOf(int priority) {
    if (priority >= 6) {
        return DLT_LOG_ERROR;
    }
    return priority == 4 ? DLT_LOG_INFO : DLT_LOG_DEBUG;
}

// A process has one application id. The id of the host stays, if the host has registered one before
// its first list.
void RegisterApplication() {
    char id[DLT_ID_SIZE + 1] = {};
    if (dlt_get_appid(id) != DLT_RETURN_OK || id[0] == '\0') {
        dlt_register_app("APPL", "host of the application list");
    }
}

// Lives until the process ends, as lines may come from any thread until then; libdlt itself
// unregisters the context at exit.
DltContext& Context(const char* tag) {
    static DltContext* const context = [tag] {
        RegisterApplication();
        auto* const registered = new DltContext();
        dlt_register_context(registered, "LIST", tag);
        return registered;
    }();
    return *context;
}

} // namespace

void PlatformLogPrint(int /*bufferId*/, int priority, const char* tag, const char* format, ...) {
    DltContextData message = {};
    // False if the daemon has switched this level off.
    const bool isForDlt =
        dlt_user_log_write_start(&Context(tag), &message, LevelOf(priority)) == DLT_RETURN_TRUE;
    const bool isForStandardError = LogSettings::IncludesStandardError();
    if (!isForDlt && !isForStandardError) {
        return;
    }
    char line[LINE_CAPACITY];
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    if (length > 0 && static_cast<std::size_t>(length) < sizeof(line) && line[length - 1] == '\n') {
        line[length - 1] = '\0'; // DLT separates messages itself.
    }
    const char* const text = length < 0 ? format : line;
    if (isForStandardError) {
        StandardError::WriteLine(priority, tag, text);
    }
    if (isForDlt) {
        dlt_user_log_write_utf8_string(&message, text);
        dlt_user_log_write_finish(&message);
    }
}
