#!/usr/bin/env python3
"""Does what docs/WRITE_A_COMPONENT.md says, as it stands there: installs, compiles, runs.

    guide_test.py SOURCE-DIRECTORY BUILD-DIRECTORY
"""
import os
import re
import subprocess
import sys
import tempfile


def blocks(text, language):
    return re.findall(r"```%s\n(.*?)```" % language, text, re.S)


def main():
    source, build = sys.argv[1:]
    guide = open(os.path.join(source, "docs", "WRITE_A_COMPONENT.md")).read()
    with tempfile.TemporaryDirectory() as work:
        prefix = os.path.join(work, "prefix")
        subprocess.run(["cmake", "--install", build, "--prefix", prefix], check=True,
                       stdout=subprocess.DEVNULL)
        configs = [folder for folder, _, files in os.walk(prefix) if "vantry-client.pc" in files]
        environment = dict(os.environ, PKG_CONFIG_PATH=configs[0],
                           PATH=os.path.join(prefix, "bin") + ":" + os.environ["PATH"],
                           VANTRY_DEVICE=os.path.join(work, "devices", "PRN1"))

        compile_it, try_it, try_both = blocks(guide, "sh")
        for name, program in zip(("fan", "cooler"), blocks(guide, "cpp"), strict=True):
            open(os.path.join(work, name + ".cpp"), "w").write(program)
            subprocess.run(compile_it.replace("fan", name), shell=True, check=True, cwd=work,
                           env=environment)

        cmake = os.path.join(work, "with_cmake")
        os.mkdir(cmake)
        open(os.path.join(cmake, "fan.cpp"), "w").write(blocks(guide, "cpp")[0])
        open(os.path.join(cmake, "CMakeLists.txt"), "w").write(
            "cmake_minimum_required(VERSION 3.25)\nproject(fan CXX)\n" + blocks(guide, "cmake")[0])
        subprocess.run(["cmake", "-S", cmake, "-B", cmake + "/build", "-DCMAKE_PREFIX_PATH=" + prefix],
                       check=True, stdout=subprocess.DEVNULL)
        subprocess.run(["cmake", "--build", cmake + "/build"], check=True, stdout=subprocess.DEVNULL)

        hub = subprocess.Popen(["vantryd", "--root", work + "/root", "--devices", work + "/devices",
                                "--port", "0", "--bind", "127.0.0.1"],
                               stdout=subprocess.PIPE, text=True, env=environment)
        try:
            assert hub.stdout.readline().startswith("ready ")
            # As typed, but for the moment that a person takes between two commands.
            commands = "".join(
                tried.replace("\n", f"\nuntil vantry list '{name}' >/dev/null 2>&1; do sleep 0.1; done\n", 1)
                for tried, name in ((try_it, "Fan Speed"), (try_both, "Test Cooler"))) + "kill %1\n"
            shown = subprocess.run(["bash", "-e", "-c", commands], check=True, cwd=work,
                                   env=environment, stdout=subprocess.PIPE, text=True).stdout
        finally:
            hub.kill()
            hub.wait()
        print(shown)
        for part in ("0\n", "Fan Speed is now 1200\n", '"value":"1200"',
                     "the fan now turns at 1200\n", "Test Cooler is now True\n",
                     "the fan now turns at 0\n", "has left the hub\n"):
            assert part in shown, part


if __name__ == "__main__":
    main()
