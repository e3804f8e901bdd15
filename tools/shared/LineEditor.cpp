#include <shared/LineEditor.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <utility>

#include <glib-unix.h>
#include <histedit.h>
#include <unistd.h>

#include <shared/Keys.h>

namespace applistctl {

namespace {

constexpr char PROMPT[] = "> ";
constexpr int HISTORY_SIZE = 500;
constexpr char END_OF_INPUT = '\x04'; // Ctrl-D on an empty line

char* Prompt(editline* /*editor*/) {
    return const_cast<char*>(PROMPT); // libedit only reads it
}

struct Binding {
    const char* key;
    const char* function;
};

// Keys of terminals. libedit would insert the end of other sequences.
constexpr Binding SEQUENCES[] = {
    {"\033[A", "ed-prev-history"},      {"\033OA", "ed-prev-history"},
    {"\033[B", "ed-next-history"},      {"\033OB", "ed-next-history"},
    {"\033[C", "ed-next-char"},         {"\033OC", "ed-next-char"},
    {"\033[D", "ed-prev-char"},         {"\033OD", "ed-prev-char"},
    {"\033[H", "ed-move-to-beg"},       {"\033OH", "ed-move-to-beg"},
    {"\033[1~", "ed-move-to-beg"},      {"\033[7~", "ed-move-to-beg"},
    {"\033[F", "ed-move-to-end"},       {"\033OF", "ed-move-to-end"},
    {"\033[4~", "ed-move-to-end"},      {"\033[8~", "ed-move-to-end"},
    {"\033[3~", "ed-delete-next-char"}, {"\033[1;5C", "em-next-word"},
    {"\033[1;5D", "ed-prev-word"},
};

// In place of functions that read more keys until they return.
constexpr Binding OTHER_KEYS[] = {
    {"^R", "ed-search-prev-history"},
    {"^S", "ed-search-next-history"},
    {"^[x", "ed-unassigned"},
    {"^[X", "ed-unassigned"},
};

bool HasFunction(const std::string& key) {
    return !IsSequence(key) ||
           std::any_of(std::begin(SEQUENCES), std::end(SEQUENCES),
                       [&](const Binding& binding) { return key == binding.key; });
}

std::size_t WidthOf(const wchar_t* text, const wchar_t* end) {
    std::size_t width = 0;
    for (; text != end; ++text) {
        const int columns = wcwidth(*text);
        width += columns < 0 ? 2 : static_cast<std::size_t>(columns); // a control character is ^X
    }
    return width;
}

std::string CommonStart(const std::vector<std::string>& words) {
    std::string start = words.front();
    for (const std::string& word : words) {
        const auto different =
            std::mismatch(start.begin(), start.end(), word.begin(), word.end()).first;
        start.erase(different, start.end());
    }
    return start;
}

} // namespace

bool LineEditor::CanEdit(const Output& output) {
    const char* const terminal = std::getenv("TERM");
    return output.IsTerminal() && isatty(STDIN_FILENO) != 0 && terminal != nullptr &&
           std::strcmp(terminal, "dumb") != 0 && IsInForeground();
}

LineEditor::LineEditor(Output& output, std::vector<std::string> words,
                       std::function<bool(const std::string& line)> onLine)
    : m_output(output), m_words(std::move(words)), m_onLine(std::move(onLine)) {
    if (MB_CUR_MAX == 1) {
        std::setlocale(LC_CTYPE, "C.UTF-8"); // D-Bus names of items are UTF-8
    }
    if (isatty(STDERR_FILENO) != 0) {
        m_errors = std::make_unique<CapturedOutput>(STDERR_FILENO, [this](std::string line) {
            line += '\n';
            // Also called by the destructor of m_errors, which is null by then.
            [[maybe_unused]] const ssize_t written =
                write(m_standardError, line.data(), line.size());
        });
        m_standardError = m_errors->Original();
        m_errorsId = g_unix_fd_add(m_errors->Pipe(), G_IO_IN, OnErrors, this);
    }
    m_terminal = m_errors != nullptr
                     ? std::make_unique<TerminalGuard>(m_errors->Pipe(), m_errors->Original())
                     : std::make_unique<TerminalGuard>(-1, -1);
    m_editor = el_init("applistctl", stdin, output.Stream(), stderr);
    m_history = history_init();
    HistEvent event;
    history(m_history, &event, H_SETSIZE, HISTORY_SIZE);
    history(m_history, &event, H_SETUNIQUE, 1);
    Bind();
    m_resizeId = g_unix_signal_add(SIGWINCH, OnResize, this);
    m_output.SetAround([this] { Hide(); }, [this] { Show(); });
    Edit();
}

LineEditor::~LineEditor() {
    Hide();
    m_isEditing = false;
    m_output.SetAround(nullptr, nullptr);
    g_source_remove(m_resizeId);
    if (m_errorsId != 0) {
        g_source_remove(m_errorsId);
    }
    End();
    history_end(m_history);
    m_terminal.reset();
    m_errors.reset();
}

void LineEditor::Bind() {
    el_set(m_editor, EL_CLIENTDATA, this);
    el_set(m_editor, EL_PROMPT, Prompt);
    el_set(m_editor, EL_GETCFN, GetCharacter);
    el_set(m_editor, EL_HIST, history, m_history);
    el_set(m_editor, EL_EDITOR, "emacs");
    el_set(m_editor, EL_ADDFN, "complete-command", "Complete the command", Complete);
    el_set(m_editor, EL_BIND, "^I", "complete-command", nullptr);
    for (const Binding& binding : SEQUENCES) {
        el_set(m_editor, EL_BIND, binding.key, binding.function, nullptr);
    }
    for (const Binding& binding : OTHER_KEYS) {
        el_set(m_editor, EL_BIND, binding.key, binding.function, nullptr);
    }
}

// Deliberate: the editor of a background process stays. el_end would change the terminal of another
// process group, and the system would stop this process.
void LineEditor::End() {
    [[maybe_unused]] static editline* kept = nullptr;
    if (IsInForeground()) {
        el_end(m_editor);
    } else {
        kept = m_editor;
    }
}

bool LineEditor::Type(const std::string& bytes) {
    if (m_isAway) {
        Return();
    }
    m_keys += bytes;
    for (std::size_t size = FirstKey(m_keys); size != 0; size = FirstKey(m_keys)) {
        m_key = m_keys.substr(0, size);
        m_keys.erase(0, size);
        if (HasFunction(m_key) && !RunKey()) {
            return false;
        }
    }
    return true;
}

bool LineEditor::RunKey() {
    int size = 0;
    const char* const text = el_gets(m_editor, &size);
    if (text == nullptr || size <= 0) {
        return true;
    }
    std::string line(text, static_cast<std::size_t>(size));
    if (line.back() == '\n') {
        line.pop_back();
        return RunLine(std::move(line));
    }
    return line != std::string(1, END_OF_INPUT);
}

bool LineEditor::RunLine(std::string line) {
    StopEditing();
    if (line.find_first_not_of(' ') != std::string::npos) {
        HistEvent event;
        history(m_history, &event, H_ENTER, line.c_str());
    }
    if (!m_onLine(line)) {
        return false;
    }
    Edit();
    return true;
}

void LineEditor::Edit() {
    if (m_errors != nullptr) {
        m_errors->Drain();
    }
    if (!IsInForeground()) {
        Leave();
        return;
    }
    el_set(m_editor, EL_UNBUFFERED, 1);
    tcgetattr(STDIN_FILENO, &m_editingState);
    m_isEditing = true;
    m_isShown = true;
}

void LineEditor::StopEditing() {
    m_isEditing = false;
    m_isShown = false;
    el_set(m_editor, EL_UNBUFFERED, 0);
}

void LineEditor::Leave() {
    if (!std::exchange(m_isAway, true)) {
        m_foreground.Start([this] { Return(); });
    }
}

void LineEditor::Return() {
    m_foreground.Stop();
    m_isAway = false;
    if (m_isEditing) {
        TakeTerminal();
        Show();
    } else {
        Edit();
    }
}

// The shell had a state of its own meanwhile. The handler of the stop has not set the editing state
// when the shell moved this process to the background first, and then to the foreground.
void LineEditor::TakeTerminal() {
    if (m_isEditing && IsInForeground()) {
        tcsetattr(STDIN_FILENO, TCSANOW, &m_editingState);
    }
}

// Puts the cursor at the start of the prompt, and clears the screen below it.
void LineEditor::Hide() {
    if (std::exchange(m_isShown, false) && IsInForeground()) {
        const std::size_t rows = RowsAboveCursor();
        const std::string up = rows != 0 ? "\033[" + std::to_string(rows) + "A" : "";
        std::fputs(("\r" + up + "\033[J").c_str(), m_output.Stream());
        std::fflush(m_output.Stream());
    }
    if (m_errors != nullptr) {
        m_errors->Drain();
    }
}

void LineEditor::Show() {
    if (m_errors != nullptr) {
        m_errors->Drain();
    }
    if (!m_isEditing || m_isShown) {
        return;
    }
    if (m_isAway || !IsInForeground()) {
        Leave();
        return;
    }
    m_isShown = true;
    el_set(m_editor, EL_REFRESH);
}

void LineEditor::Resize() {
    el_resize(m_editor);
    if (TerminalGuard::TakeStop()) {
        m_isShown = false;
        TakeTerminal();
    }
    Hide();
    Show();
}

std::size_t LineEditor::RowsAboveCursor() const {
    const LineInfoW* const line = el_wline(m_editor);
    int columns = 0;
    char name[] = "co";
    el_get(m_editor, EL_GETTC, name, &columns);
    const std::size_t position = std::strlen(PROMPT) + WidthOf(line->buffer, line->cursor);
    return columns > 0 ? position / static_cast<std::size_t>(columns) : 0;
}

unsigned char LineEditor::CompleteWord() {
    const LineInfo* const line = el_line(m_editor);
    const std::string typed(line->buffer, line->cursor);
    std::vector<std::string> found;
    std::copy_if(
        m_words.begin(), m_words.end(), std::back_inserter(found),
        [&](const std::string& word) { return word.compare(0, typed.size(), typed) == 0; });
    if (found.empty()) {
        return CC_ERROR;
    }
    std::string rest = CommonStart(found).substr(typed.size());
    rest += found.size() == 1 ? " " : "";
    if (!rest.empty()) {
        el_insertstr(m_editor, rest.c_str());
        return CC_REFRESH;
    }
    std::string list;
    for (const std::string& word : found) {
        list.append(list.empty() ? "" : "  ").append(word);
    }
    m_output.Line(list);
    return CC_NORM;
}

int LineEditor::GetCharacter(editline* editor, wchar_t* character) {
    void* data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    auto* const self = static_cast<LineEditor*>(data);
    if (self->m_key.empty()) {
        return -1; // libedit keeps its state until the next key
    }
    std::mbstate_t state = {};
    const std::size_t size =
        std::mbrtowc(character, self->m_key.data(), self->m_key.size(), &state);
    const bool isCharacter = size > 0 && size <= self->m_key.size();
    self->m_key.erase(0, isCharacter ? size : self->m_key.size());
    return isCharacter ? 1 : -1;
}

unsigned char LineEditor::Complete(editline* editor, int /*key*/) {
    void* data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    return static_cast<LineEditor*>(data)->CompleteWord();
}

gboolean LineEditor::OnResize(gpointer user_data) {
    static_cast<LineEditor*>(user_data)->Resize();
    return G_SOURCE_CONTINUE;
}

gboolean LineEditor::OnErrors(gint /*fd*/, GIOCondition /*condition*/, gpointer user_data) {
    auto* const self = static_cast<LineEditor*>(user_data);
    self->Hide();
    self->Show();
    return G_SOURCE_CONTINUE;
}

} // namespace applistctl
