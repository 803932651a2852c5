"""Commands that the tests give, free of what the environment says to compilers."""
import os
import subprocess

UNWANTED = ("CFLAGS", "CXXFLAGS", "LDFLAGS", "CPATH", "C_INCLUDE_PATH", "CPLUS_INCLUDE_PATH", "DESTDIR", "PKG_CONFIG_PATH",
            "PKG_CONFIG_LIBDIR", "CMAKE_PREFIX_PATH", "OVPATCH_ANSI_CODE_PAGE")


def call(*command, env=None, **more):
    """What the command prints, on both streams; a failure if it does not end with 0."""
    env = {**{name: value for name, value in os.environ.items() if name not in UNWANTED}, **(env or {}), "LC_ALL": "C.UTF-8"}
    done = subprocess.run([str(part) for part in command], env=env, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=300, check=False, **more)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout
