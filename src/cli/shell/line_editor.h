#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantry::cli {

/// A line that is typed at a terminal, with a prompt, history, completion and hints. Only one
/// thread may use it, and there may be one at a time.
class LineEditor {
public:
    struct Completion {
        /// The words that may replace the last one, and the number of bytes that they replace.
        std::vector<std::string> words = {};
        std::size_t replaced = 0;
        /// What to show if there is no such word.
        std::string hint = {};
    };
    /// Both are called with the line up to the cursor.
    using Completer = std::function<Completion(const std::string& line)>;
    using Hinter = std::function<std::string(const std::string& line)>;

    /// Reads the history from the file, if it can be read.
    LineEditor(const std::string& historyFile, Completer completer, Hinter hinter);
    /// Writes the history, with its folder. If that fails, it is lost.
    ~LineEditor();
    LineEditor(const LineEditor&) = delete;
    LineEditor& operator=(const LineEditor&) = delete;

    /// Blocks until a line is typed, and returns it without its line feed. Ctrl-C ends the line,
    /// which is then empty. Returns nothing at the end of the input. The prompt may have control
    /// sequences between bytes of the value 1.
    std::optional<std::string> Read(const std::string& prompt);
    /// Keeps the line for the next sessions too, unless it is the same as the one before.
    void Remember(const std::string& line);

private:
    class State;
    const std::unique_ptr<State> state;
};

}  // namespace vantry::cli
