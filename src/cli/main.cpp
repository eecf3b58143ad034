#include <signal.h>

#include "cli/command_line.h"

int main(int argc, char** argv) {
    // The program ends as other programs do when its output is a pipe that closes, also if the
    // program that started it ignored the signal.
    signal(SIGPIPE, SIG_DFL);
    vantry::cli::CommandLine line;
    return line.Run(argc, argv);
}
