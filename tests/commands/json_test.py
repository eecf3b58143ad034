#!/usr/bin/env python3
"""Holds what every command prints with --json against the schemas in docs/json.

    json_test.py BUILD-DIRECTORY
"""
import glob
import json
import os
import re
import subprocess
import sys
import tempfile
import time

from jsonschema import Draft202012Validator, RefResolver

SOURCE = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
sys.path.insert(0, SOURCE + "/python/tests")
from support import PATIENCE, RunningHub  # noqa: E402

COMPONENT = """component C
group Sensors
property Heat number 25 readonly ramp 20 60 1
property On bool True
property "Odd \\"text\\"" text "a"
"""
# The name of the schema, and a command that prints it. Those behind "lines" print a document a line.
WHOLE = [
    ("list", "list"), ("get", "get Heat 'O*'"), ("describe", "describe Heat UsbPrnTxTimeout"),
    ("set", "set On=off 'Odd \"text\"=ü' UsbPrnTxTimeout=7"), ("save", "save a.json"), ("load", "load a.json --dry-run"),
    ("load", "load a.json"), ("diff", "diff a.json b.json"), ("status", "status --root ../root"), ("clients", "clients"),
    ("top", "top --for 0.5s"), ("check", "check Heat --expect 'On = True' --max-age 1h --slow 1m"),
    ("check", "--device nowhere check"), ("doctor", "doctor --system ."), ("plot", "plot Heat On --for 0.5s"),
    ("bench", "bench --seconds 0.2"), ("settings-check", "settings check p.ini"),
    ("settings-check", "settings check a.json"), ("settings-export", "settings export p.ini"),
    ("settings-import", "settings import p.txt q.ini"), ("context-list", "context list"), ("help", "help"), ("help", "help json"),
]
LINES = [
    ("watch", "watch Heat On --count 4"), ("watch-rate", "watch --rate --count 1"),
    ("history-query", "history query Heat --file h.db"), ("history-query-step", "history query Heat --file h.db --step 1s"),
    ("history-export", "history export --file h.db"), ("answer", "raw <ask"), ("answer", "record talk <ask"),
    ("answer", "replay talk --fast"),
]
# Commands whose output has another name than theirs, or none.
OTHER_NAMES = {"raw": "answer", "record": "answer", "replay": "answer", "settings": "settings-check",
               "context": "context-list"}
ASK = '{"PropertyGetRequests": [{"GroupGUID": "99A61D40-20CE-41EA-A579-EB92C6ED94C6"}]}\n'


def eventually(what):
    deadline = time.monotonic() + PATIENCE
    while not what():
        assert time.monotonic() < deadline, "waited in vain"
        time.sleep(0.02)


class Schemas:
    """The published schemas, and which of them were used."""

    def __init__(self):
        self.all = {}
        for path in glob.glob(SOURCE + "/docs/json/*.schema.json"):
            with open(path) as file:
                schema = json.load(file)
            Draft202012Validator.check_schema(schema)
            self.all[schema["$id"]] = schema
        self.used = {"property"}

    def hold(self, name, documents, command):
        self.used.add(name)
        schema = self.all[name + ".schema.json"]
        resolver = RefResolver(base_uri="", referrer=schema, store=self.all)
        assert documents, "this printed nothing: " + command
        for document in documents:
            for error in Draft202012Validator(schema, resolver=resolver).iter_errors(document):
                sys.exit("%s: %s\n%s" % (command, error.message, json.dumps(error.instance)[:1000]))


class Stage:
    """A hub of its own, and a folder in which commands run against it. It is a context manager that ends both."""

    def __init__(self, vantry):
        self.vantry = vantry
        self.hub = RunningHub()
        self.folder = tempfile.TemporaryDirectory(dir=self.hub.folder.name)
        self.environment = dict(os.environ, VANTRY_DEVICE=self.hub.device, XDG_CONFIG_HOME=self.folder.name)
        self.background = []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self.background:
            process.terminate()
            process.wait()
        self.hub.kill()
        self.folder.cleanup()
        self.hub.folder.cleanup()

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def run(self, command):
        """What the command prints. Its arguments are those of a shell."""
        return subprocess.run("%s --json %s" % (self.vantry, command), shell=True, cwd=self.folder.name,
                              env=self.environment, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                              timeout=4 * PATIENCE).stdout

    def start(self, command, output):
        """Starts a command that runs until it is ended, and prints to a file."""
        with open(self.path(output), "w") as file:
            self.background.append(subprocess.Popen([self.vantry, "--json", *command.split()], cwd=self.folder.name,
                                                    env=self.environment, stdout=file))
        return self.background[-1]

    def write(self, name, text):
        with open(self.path(name), "w") as file:
            file.write(text)

    def read(self, name):
        with open(self.path(name)) as file:
            return file.read()


def prepare(stage, schemas):
    """Leaves what the commands need: a component, a recording, a capture, and a file of saved values."""
    stage.write("component", COMPONENT)
    stage.write("ask", ASK)
    stage.start("announce component", "announced")
    eventually(lambda: json.loads(stage.run("get Heat")))
    stage.start("history record --file h.db --commit 0.1", "recording")
    stage.run("save b.json")
    stage.run("--tcp 127.0.0.1 context add press1")
    capture = stage.start("capture t.pcapng", "captured")
    eventually(lambda: os.path.exists(stage.path("t.pcapng")))
    capture.terminate()
    capture.wait()
    schemas.hold("capture", [json.loads(stage.read("captured"))], "capture")
    eventually(lambda: stage.run("history query Heat --file h.db").count(b"\n") > 2)


def export_settings(stage):
    # The hub has saved the change of its own property by now, or soon.
    eventually(lambda: stage.run("settings export ../root/Store/VantryProperties.ini p.txt --force") is not None
               and os.path.exists(stage.path("p.txt")))
    lines = json.loads(stage.read("p.txt"))
    stage.write("p.txt", "".join("%s=%s\n" % (line["prefix"], line["value"]) for line in lines))
    stage.run("settings import p.txt p.ini")


def require_all_held(schemas):
    """Every schema has a command, and every command a schema."""
    unused = {name.split(".")[0] for name in schemas.all} - schemas.used
    assert not unused, "no command was held against docs/json/%s" % unused
    with open(SOURCE + "/src/cli/commands.def") as file:
        commands = re.findall(r"^COMMAND\((\w+)\)", file.read(), re.M)
    names = [re.sub(r"(?<!^)(?=[A-Z])", "-", command).lower() for command in commands]
    # The commands below history have schemas of their own; the others are for a person or a shell.
    without = {"history", "shell", "alone", "complete"}
    missing = {name for name in names if OTHER_NAMES.get(name, name) not in schemas.used} - without
    assert not missing, "these commands have no schema in docs/json that this test holds them against: %s" % missing


def main():
    schemas = Schemas()
    with Stage(os.path.abspath(sys.argv[1]) + "/src/vantry") as stage:
        prepare(stage, schemas)
        for name, command in WHOLE[:4]:
            schemas.hold(name, [json.loads(stage.run(command))], command)
        export_settings(stage)
        for name, command in WHOLE[4:]:
            schemas.hold(name, [json.loads(stage.run(command))], command)
        for name, command in LINES:
            schemas.hold(name, [json.loads(line) for line in stage.run(command).splitlines()], command)
        schemas.hold("save-file", [json.loads(stage.read("a.json"))], "the file of vantry save")
        for name, output in ("announce", "announced"), ("history-record", "recording"):
            schemas.hold(name, [json.loads(line) for line in stage.read(output).splitlines()], name)
    require_all_held(schemas)


if __name__ == "__main__":
    main()
