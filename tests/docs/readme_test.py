#!/usr/bin/env python3
"""Does what the README says, as it is printed there, with the build that is there already.

    readme_test.py SOURCE-DIRECTORY
"""
import os
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time


def commands(text):
    """The indented command lines behind "A first conversation", in order."""
    part = text.split("## A first conversation")[1].split("## Where to read on")[0]
    return [line.strip() for line in part.splitlines() if line.startswith("    ")]


def wait_for(what, seconds=30):
    deadline = time.time() + seconds
    while not what():
        assert time.time() < deadline, "waited in vain"
        time.sleep(0.05)


def main():
    source = sys.argv[1]
    # A folder that looks like the checkout to whoever types there, with a hub of its own.
    work = tempfile.mkdtemp()
    for name in ("build", "docs"):
        os.symlink(os.path.join(source, name), os.path.join(work, name))
    hub = subprocess.Popen([os.path.join(source, "run"), "--port", "0"], stdout=subprocess.PIPE,
                           stderr=subprocess.DEVNULL, text=True, start_new_session=True,
                           env=dict(os.environ, VANTRY_VAR=os.path.join(work, "var")))
    try:
        seen = []
        for line in hub.stdout:
            seen.append(line)
            if "Printhead Temperature = " in line:
                break
        assert any(line.startswith("ready port=") for line in seen), seen
        lines = commands(open(os.path.join(source, "README.md")).read())
        export = lines.pop(0)

        def shell(command):
            return subprocess.run(["bash", "-c", export + "\n" + command], cwd=work, check=True,
                                  stdout=subprocess.PIPE, text=True, timeout=60).stdout

        component = None
        outputs = {}
        for line in lines:
            if line.startswith("vantry announce"):
                component = subprocess.Popen(["bash", "-c", export + "\nexec " + line], cwd=work,
                                             stdout=subprocess.DEVNULL, start_new_session=True)
                wait_for(lambda: "Fan Speed" in shell("vantry list --names"))
            else:
                outputs[line] = shell(line)
        os.killpg(component.pid, signal.SIGINT)
        component.wait(30)
    finally:
        os.killpg(hub.pid, signal.SIGINT)
        hub.wait(60)
        shutil.rmtree(work)
    expected = [("vantry list --group General", r"Print Speed +Firmware Driver +4"),
                ('vantry get "Print Speed"', r"^4$"),
                ('vantry set "Print Speed" 8', r"Print Speed is now 8"),
                ('vantry watch "Printhead Temperature" --count 3',
                 r"(.*Printhead Temperature (is|=) \d+.*\n){3}"),
                ('vantry set "Fan Speed" 1200', r"Fan Speed is now 1200"),
                ("vantry status", r"Fan Control +2"),
                ("python3 docs/first_conversation.py var/devices/PRN1", r'"Value": "750"')]
    for command, pattern in expected:
        assert command in outputs, command + " is not in the README"
        assert re.search(pattern, outputs[command]), (command, outputs[command])


if __name__ == "__main__":
    main()
