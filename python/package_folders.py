"""Prints where this Python looks for packages below /usr and below any other prefix, for CMake: "FOLDER;FOLDER"."""

import os.path
import sysconfig

schemes = sysconfig.get_scheme_names()
base = {"base": "/p", "platbase": "/p"}
if "deb_system" in schemes:
    system = sysconfig.get_path("purelib", "deb_system", base)
    other = os.path.join("lib", f"python{sysconfig.get_python_version()}", "dist-packages")
else:
    system = sysconfig.get_path("purelib", "posix_prefix", base)
    other = os.path.relpath(system, "/p")
print(f"{os.path.relpath(system, '/p')};{other}")
