#include <signal.h>

#include "cli/base/command_line.h"

namespace vantry::cli {

#define COMMAND(Name) void Add##Name(CommandLine& line);
#include "cli/commands.def"
#undef COMMAND

}  // namespace vantry::cli

int main(int argc, char** argv) {
    // The program ends as other programs do when its output is a pipe that closes, also if the
    // program that started it ignored the signal.
    signal(SIGPIPE, SIG_DFL);
    vantry::cli::CommandLine line;
#define COMMAND(Name) Add##Name(line);
#include "cli/commands.def"
#undef COMMAND
    return line.Run(argc, argv);
}
