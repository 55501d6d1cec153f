"""The registry of a lab, edited as an administrator's tool edits it: from outside the program."""

import os
import subprocess


def reg(lab, *arguments):
    """Runs Wine's reg in the lab's prefix; its exit code and what it printed."""
    environment = dict(os.environ, WINEPREFIX=str(lab.prefix), WINEARCH="win64", WINEDEBUG="-all",
                       LC_ALL="C.UTF-8")
    environment.pop("DISPLAY", None)
    result = subprocess.run(["wine", "reg", *arguments], env=environment, stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, timeout=120,
                            check=False)
    return result.returncode, result.stdout.decode("utf-8", "replace").replace("\r\n", "\n")


def set_value(lab, key, name, kind, data):
    code, output = reg(lab, "add", f"HKLM\\{key}", "/v", name, "/t", kind, "/d", data, "/f")
    if code != 0:
        raise AssertionError(f"{name} cannot be set: {output}")


def delete_value(lab, key, name):
    """Also when there is none."""
    reg(lab, "delete", f"HKLM\\{key}", "/v", name, "/f")


def has_key(lab, key):
    return reg(lab, "query", f"HKLM\\{key}")[0] == 0
