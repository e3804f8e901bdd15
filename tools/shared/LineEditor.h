// Edits a line of input on a terminal with libedit, in the main loop. Output of the process moves
// the edited line down.
#ifndef APPLIST_TOOLS_LINEEDITOR_H
#define APPLIST_TOOLS_LINEEDITOR_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <glib.h>
#include <termios.h>

#include <shared/CapturedOutput.h>
#include <shared/Foreground.h>
#include <shared/Output.h>
#include <shared/TerminalGuard.h>

struct editline;
struct history;

namespace applistctl {

/**
 * The keys are those of emacs; Tab completes the command, the arrows select an earlier line.
 * libedit would wait in read(2) for the rest of a key such as Escape, and the process would not
 * answer its peer. Therefore this class reads the terminal itself, and passes complete keys only.
 * A background process shows neither the prompt nor the line until it returns to the foreground.
 */
class LineEditor {
public:
    /** Whether both sides of @p output are a terminal that can move its cursor. */
    static bool CanEdit(const Output& output);

    /**
     * @param words the commands, for Tab
     * @param onLine runs a line in the usual state of the terminal. @return false to end editing
     */
    LineEditor(Output& output, std::vector<std::string> words,
               std::function<bool(const std::string& line)> onLine);
    ~LineEditor();

    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    /** Handles input of the terminal. @return false after the end of the input or of editing */
    bool Type(const std::string& bytes);

private:
    static int GetCharacter(editline* editor, wchar_t* character);
    static unsigned char Complete(editline* editor, int key);
    static gboolean OnResize(gpointer user_data);
    static gboolean OnErrors(gint fd, GIOCondition condition, gpointer user_data);

    void Bind();
    void End();
    bool RunKey();
    bool RunLine(std::string line);
    void Edit();
    void StopEditing();
    void Leave();
    void Return();
    void TakeTerminal();
    void Hide();
    void Show();
    void Resize();
    unsigned char CompleteWord();
    std::size_t RowsAboveCursor() const;

    Output& m_output;
    std::vector<std::string> m_words;
    std::function<bool(const std::string&)> m_onLine;
    std::unique_ptr<CapturedOutput> m_errors; // null when standard error is no terminal
    int m_standardError = -1;                 // the terminal that m_errors redirects
    std::unique_ptr<TerminalGuard> m_terminal;
    editline* m_editor = nullptr;
    history* m_history = nullptr;
    std::string m_keys;
    std::string m_key; // the rest of the key that libedit reads
    bool m_isEditing = false;
    bool m_isShown = false;
    bool m_isAway = false; // in the background, without a prompt
    ForegroundWatch m_foreground;
    termios m_editingState = {};
    guint m_resizeId = 0;
    guint m_errorsId = 0;
};

} // namespace applistctl

#endif
