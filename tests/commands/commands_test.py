#!/usr/bin/env python3
"""Types the commands of a file beside a hub of its own, and checks what is written.

    commands_test.py BUILD-DIRECTORY FILE

A line with "$ " is a command. The lines behind it are what it writes to either output, where "..." stands
for any text, and "[2]" is its exit status, if that isn't 0. "#" begins a comment. One shell runs all
commands in an empty folder. The programs are in its path, $VANTRY_DEVICE is the hub's local device, $PORT
its TCP port, $SOURCE the folder of the sources, and $EXAMPLES that of the example programs. `eventually
COMMAND` repeats a command until it succeeds.

In a topic of `vantry help` a simulated driver runs, and what a command writes isn't told: it must succeed.

In a guide (.md) the commands are those of the blocks marked as "console", and of comments that begin with
"run". A block marked with a language and a name is a file of that name, which is there from the start.
"""
import contextlib
import os
import re
import signal
import subprocess
import sys

SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
sys.path.insert(0, SOURCE + "/python/tests")
from support import PATIENCE, RunningHub  # noqa: E402

# A shell may outlive this program, when that is killed, and must not ask for ever then.
EVENTUALLY = """eventually() {
  local end=$((SECONDS + %d))
  until "$@" >/dev/null 2>&1; do [ $SECONDS -lt $end ] || return 1; sleep 0.05; done
}
""" % (4 * PATIENCE)
END = "--- the end of command"
DRIVER = """component "Firmware Driver"
group Sensors
property "Printhead Temperature" number 25 readonly ramp 20 60 2
property "Fan Speed" number 1200
group General
property "Print Speed" number 4
group Motors
property "Move Feed Motor" command False
"""


def play(commands, folder, environment):
    """Runs the commands in a folder. Returns the output of each that has ended, with its exit status."""
    script = EVENTUALLY + "".join("%s\necho \"%s $?\"\n" % (command, END) for command in commands)
    name = os.path.join(folder, "..", "output")
    with open(name, "w") as output:
        shell = subprocess.Popen(["bash", "-c", script], cwd=folder, env=dict(os.environ, **environment),
                                 start_new_session=True, stdin=subprocess.DEVNULL, stdout=output,
                                 stderr=subprocess.STDOUT)
    with contextlib.suppress(subprocess.TimeoutExpired):
        shell.wait(4 * PATIENCE)
    with contextlib.suppress(ProcessLookupError):
        os.killpg(shell.pid, signal.SIGKILL)
    with open(name, errors="backslashreplace") as output:
        parts = re.split(END + r" (\d+)\n", output.read())
    return [text + ("" if status == "0" else "[%s]\n" % status)
            for text, status in zip(parts[::2], parts[1::2])]


def main():
    build, name = map(os.path.abspath, sys.argv[1:])
    with open(name) as file:
        text = file.read()
    files = []
    if name.endswith(".md"):
        files = re.findall(r"^```\w+ (\S+)\n(.*?)^```$", text, re.M | re.S)
        text = "".join(re.findall(r"^(?:```console|<!-- run)\n(.*?)^(?:```|-->)$", text, re.M | re.S))
    steps = re.findall(r"^\$ (.*)\n((?:(?![$#]).*\n)*)", text, re.M)
    is_topic = "/src/cli/help/" in name
    if is_topic:
        files.append(("driver.vantry", DRIVER))
        steps = [("vantry announce driver.vantry >/dev/null &", ""), ("eventually vantry get 'Fan Speed'", ""), *steps]
    hub = RunningHub()
    folder = os.path.join(hub.folder.name, "here")
    os.mkdir(folder)
    for written, content in files:
        with open(os.path.join(folder, written), "w") as file:
            file.write(content)
    try:
        outputs = play([command for command, _ in steps], folder, {
            "PATH": build + "/src:" + os.environ["PATH"], "VANTRY_DEVICE": hub.device,
            "PORT": hub.tcp.split(":")[1], "SOURCE": SOURCE,
            "PYTHONPATH": SOURCE + "/python", "EXAMPLES": build + "/examples"})
    finally:
        hub.end()
    for (command, wanted), output in zip(steps, outputs):
        if is_topic and not re.search(r"^\[\d+\]\n$", output, re.M):
            continue
        pattern = ".*".join(re.escape(part) for part in wanted.rstrip("\n").split("..."))
        if not re.fullmatch(pattern + "\n*", output, re.S):
            sys.exit("%s: $ %s\n--- wanted\n%s--- written\n%s" % (name, command, wanted, output))
    if len(outputs) < max(len(steps), 1):
        sys.exit("%s: this never ended: %s" % (name, steps[len(outputs)][0] if steps else "no command"))


if __name__ == "__main__":
    main()
