// A line editor on top of libedit.
//
// Signals are off while a line is typed: Ctrl-C and Ctrl-Z arrive as keys, so that nothing is
// interrupted in the middle of libedit's work.

#include "cli/shell/line_editor.h"

#include <histedit.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <utility>

#include "cli/base/terminal.h"
#include "cli/base/text.h"

namespace vantry::cli {
namespace {

constexpr int kHistoryLines = 1000;
constexpr std::size_t kMostShown = 200;

/// Returns what all words begin with.
std::string CommonBegin(const std::vector<std::string>& words) {
    std::string common = words.front();
    for (const std::string& word : words) {
        const auto end = std::mismatch(common.begin(), common.end(), word.begin(), word.end());
        common.erase(end.first, common.end());
    }
    // A character isn't cut in the middle.
    const auto isContinued = [&](const std::string& word) {
        return word.size() > common.size() && ContinuesCharacter(word[common.size()]);
    };
    while (!common.empty() && std::any_of(words.begin(), words.end(), isContinued)) {
        common.pop_back();
    }
    return common;
}

/// Prints the words below the line, in columns.
void ShowWords(const std::vector<std::string>& words) {
    std::size_t widest = 1;
    for (const std::string& word : words) {
        widest = std::max(widest, ColumnsOf(word) + 2);
    }
    const std::size_t perLine = std::max<std::size_t>(TerminalSize::Now().columns / widest, 1);
    const std::size_t shown = std::min(words.size(), kMostShown);
    for (std::size_t place = 0; place < shown; ++place) {
        std::printf("%s%s", place % perLine == 0 ? "\n" : "", Fitted(words[place], widest).c_str());
    }
    if (shown < words.size()) {
        std::printf("\nand %zu more", words.size() - shown);
    }
    std::printf("\n");
}

}  // namespace

class LineEditor::State {
public:
    State(std::string file, Completer completes, Hinter hints)
        : historyFile(std::move(file)),
          completer(std::move(completes)),
          hinter(std::move(hints)),
          editor(el_init("vantry", stdin, stdout, stderr)),
          lines(history_init()) {
        std::setlocale(LC_CTYPE, "C.UTF-8");
        el_set(editor, EL_CLIENTDATA, this);
        el_set(editor, EL_EDITOR, "emacs");
        el_set(editor, EL_PROMPT_ESC, &State::Prompt, '\1');
        el_set(editor, EL_RPROMPT_ESC, &State::Hint, '\1');
        el_set(editor, EL_HIST, history, lines);
        AddKey("complete", "^I", &State::Complete);
        AddKey("give-up", "^C", &State::GiveUp);
        AddKey("stop", "^Z", &State::Stop);
        AddKey("hint", " ", &State::InsertBlank);
        el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
        el_set(editor, EL_SETTY, "-d", "-isig", nullptr);
        HistEvent event{};
        history(lines, &event, H_SETSIZE, kHistoryLines);
        history(lines, &event, H_SETUNIQUE, 1);
        history(lines, &event, H_LOAD, historyFile.c_str());
    }
    ~State() {
        std::error_code error;
        std::filesystem::create_directories(std::filesystem::path(historyFile).parent_path(),
                                            error);
        // What was typed is nobody else's business.
        const mode_t before = umask(077);
        HistEvent event{};
        history(lines, &event, H_SAVE, historyFile.c_str());
        umask(before);
        history_end(lines);
        el_end(editor);
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    std::optional<std::string> Read(const std::string& withPrompt) {
        prompt = withPrompt;
        isGivenUp = false;
        int count = 0;
        const char* const typed = el_gets(editor, &count);
        if (typed == nullptr || count <= 0) {
            return std::nullopt;
        }
        std::string line(typed, static_cast<std::size_t>(count));
        line.erase(std::min(line.find('\n'), line.size()));
        return isGivenUp ? "" : line;
    }
    void Remember(const std::string& line) {
        HistEvent event{};
        history(lines, &event, H_ENTER, line.c_str());
    }

private:
    static State& Of(EditLine* editor) {
        void* state = nullptr;
        el_get(editor, EL_CLIENTDATA, &state);
        return *static_cast<State*>(state);
    }
    static std::string LineUpToCursor(EditLine* editor) {
        const LineInfo* const line = el_line(editor);
        return {line->buffer, line->cursor};
    }
    void AddKey(const char* name, const char* key, unsigned char (*function)(EditLine*, int)) {
        el_set(editor, EL_ADDFN, name, name, function);
        el_set(editor, EL_BIND, key, name, nullptr);
    }

    static char* Prompt(EditLine* editor) { return Of(editor).prompt.data(); }
    static char* Hint(EditLine* editor) {
        State& state = Of(editor);
        const std::string text = state.hinter(LineUpToCursor(editor));
        state.hint = text.empty() ? "" : "\1\x1b[2m\1" + text + "\1\x1b[0m\1";
        return state.hint.data();
    }
    static unsigned char InsertBlank(EditLine* editor, int) {
        // A new word begins, for which there may be a hint.
        return el_insertstr(editor, " ") == 0 ? CC_REFRESH : CC_ERROR;
    }
    static unsigned char GiveUp(EditLine* editor, int) {
        Of(editor).isGivenUp = true;
        std::fputs("^C\n", stdout);
        return CC_NEWLINE;
    }
    static unsigned char Stop(EditLine* editor, int) {
        el_set(editor, EL_PREP_TERM, 0);
        raise(SIGTSTP);
        el_set(editor, EL_PREP_TERM, 1);
        return CC_REDISPLAY;
    }
    static unsigned char Complete(EditLine* editor, int) {
        const Completion completion = Of(editor).completer(LineUpToCursor(editor));
        if (completion.words.empty()) {
            if (completion.hint.empty()) {
                return CC_ERROR;
            }
            std::printf("\n%s\n", completion.hint.c_str());
            return CC_REDISPLAY;
        }
        const bool isOne = completion.words.size() == 1;
        const std::string common = CommonBegin(completion.words) + (isOne ? " " : "");
        const std::string line = LineUpToCursor(editor);
        if (isOne || common.size() > completion.replaced) {
            el_deletestr(editor, static_cast<int>(LastCharacters(line, completion.replaced)));
            return el_insertstr(editor, common.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
        }
        ShowWords(completion.words);
        return CC_REDISPLAY;
    }
    /// Returns how many characters the last `bytes` bytes of the line are.
    static std::size_t LastCharacters(const std::string& line, std::size_t bytes) {
        const auto begin = line.end() - static_cast<std::ptrdiff_t>(bytes);
        return static_cast<std::size_t>(
            std::count_if(begin, line.end(), [](char byte) { return !ContinuesCharacter(byte); }));
    }

    const std::string historyFile;
    const Completer completer;
    const Hinter hinter;
    EditLine* const editor;
    History* const lines;
    std::string prompt;
    std::string hint;
    bool isGivenUp = false;
};

LineEditor::LineEditor(const std::string& historyFile, Completer completer, Hinter hinter)
    : state(std::make_unique<State>(historyFile, std::move(completer), std::move(hinter))) {}
LineEditor::~LineEditor() = default;

std::optional<std::string> LineEditor::Read(const std::string& prompt) {
    return state->Read(prompt);
}

void LineEditor::Remember(const std::string& line) { state->Remember(line); }

}  // namespace vantry::cli
