"""The README's embedding examples (blocks marked `<!-- example: NAME -->`, their
output `<!-- output: NAME -->`), built and run as a host builds them: installed
(find_package and pkg-config against an installed build), subproject
(add_subdirectory makes no test or tool target), exports (a shared library
exports only the public interface). The Python module's tests use extract().
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

BLOCK = re.compile(r"<!-- (example|output): (\S+) -->\n```[^\n]*\n(.*?)```", re.S)


def extract(readme):
    """Returns {("example"|"output", name): text} for every marked block."""
    text = Path(readme).read_text()
    blocks = {(kind, name): body for kind, name, body in BLOCK.findall(text)}
    if not blocks:
        raise SystemExit(f"no marked examples in {readme}")
    return blocks


def write_examples(blocks, prefix, into):
    """Writes the examples whose names start with prefix/ into a folder."""
    for (kind, name), body in blocks.items():
        if kind == "example" and name.startswith(prefix + "/"):
            target = into / name
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_text(body)
    return into / prefix


def run(command, **options):
    print("+", " ".join(str(part) for part in command), flush=True)
    return subprocess.run(command, check=True, text=True, **options)


def expect_output(program, blocks, name, library_dir=None):
    environment = dict(os.environ)
    if library_dir:  # a shared library installed where the loader does not look
        environment["LD_LIBRARY_PATH"] = str(library_dir)
    printed = run([program], stdout=subprocess.PIPE, env=environment).stdout
    wanted = blocks[("output", name)]
    if printed != wanted:
        raise SystemExit(f"{program} printed:\n{printed}\nthe README says:\n{wanted}")


def compiler_definitions(args):
    return [f"-DCMAKE_CXX_COMPILER={args.cxx}"] + ([f"-DCMAKE_CXX_COMPILER_LAUNCHER={args.launcher}"] if args.launcher else [])


def installed(args, blocks, work):
    prefix = work / "prefix"
    run([args.cmake, "--install", args.build, "--prefix", prefix], stdout=subprocess.DEVNULL)

    cpp = write_examples(blocks, "cpp", work)
    run([args.cmake, "-S", cpp, "-B", cpp / "build", "-DCMAKE_BUILD_TYPE=Release", f"-DCMAKE_PREFIX_PATH={prefix}",
         *compiler_definitions(args)], stdout=subprocess.DEVNULL)
    run([args.cmake, "--build", cpp / "build", "-j2"], stdout=subprocess.DEVNULL)
    expect_output(cpp / "build" / "area", blocks, "cpp")

    c = write_examples(blocks, "c", work)
    pc_files = sorted(prefix.glob("**/pkgconfig/morvex.pc"))
    if not pc_files:
        raise SystemExit("no morvex.pc installed")
    environment = dict(os.environ, PKG_CONFIG_PATH=str(pc_files[0].parent))
    flags = run(["pkg-config", "--cflags", "--libs", "morvex"], env=environment, stdout=subprocess.PIPE).stdout.split()
    run([args.cc, c / "steps.c", *flags, "-o", c / "steps"])
    expect_output(c / "steps", blocks, "c", library_dir=pc_files[0].parent.parent)


SUBPROJECT = """cmake_minimum_required(VERSION 3.25)
project(host LANGUAGES CXX)
add_subdirectory({source} morvex)
foreach(target morvex_tests morvex_cli morvex_c_api_test morvex_bench)
  if(TARGET ${{target}})
    message(FATAL_ERROR "a subproject must not make ${{target}}")
  endif()
endforeach()
add_executable(area cpp/main.cpp)
target_link_libraries(area PRIVATE morvex::morvex)
"""

# What a shared library may export: the C interface, the public classes, and
# the standard library's templates that they instantiate (whose demangled
# names may begin with a return type).
PUBLIC_SYMBOL = re.compile(
    r"^(morvex_\w+$|([\w:<>,* ]* )?(std::|__gnu_cxx::)|morvex::(clsMorvex|DNAGroup|Failure)\b)")
SPECIAL_PREFIX = re.compile(r"^(typeinfo name for |typeinfo for |vtable for |VTT for |guard variable for )")


def exported_symbols(library):
    listing = run(["nm", "-D", "--defined-only", "--demangle", library], stdout=subprocess.PIPE).stdout
    for line in listing.splitlines():
        parts = line.split(" ", 2)
        if len(parts) == 3 and parts[1] not in ("A",):
            yield parts[2]


def subproject(args, blocks, work):
    host = work / "host"
    write_examples(blocks, "cpp", host)
    (host / "CMakeLists.txt").write_text(SUBPROJECT.format(source=Path(args.source).as_posix()))
    run([args.cmake, "-S", host, "-B", host / "build", "-DBUILD_SHARED_LIBS=ON", *compiler_definitions(args)],
        stdout=subprocess.DEVNULL)


def exports(args, blocks, work):
    leaks = [name for name in exported_symbols(args.library)
             if not PUBLIC_SYMBOL.match(SPECIAL_PREFIX.sub("", name)) and not name.startswith("_")]
    if leaks:
        raise SystemExit("the shared library exports internals:\n  " + "\n  ".join(leaks[:20]))
    if not any(name == "morvex_calculate" for name in exported_symbols(args.library)):
        raise SystemExit("the shared library does not export the C interface")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("mode", choices=["installed", "subproject", "exports"])
    for option, default in (("readme", None), ("source", None), ("build", None), ("work", None), ("cmake", "cmake"),
                            ("cc", "cc"), ("cxx", "c++"), ("launcher", ""), ("library", "")):
        parser.add_argument("--" + option, default=default, required=default is None)
    args = parser.parse_args()

    work = Path(args.work) / args.mode
    shutil.rmtree(work, ignore_errors=True)
    work.mkdir(parents=True)
    blocks = extract(args.readme)
    {"installed": installed, "subproject": subproject, "exports": exports}[args.mode](args, blocks, work)
    print(f"{args.mode}: passed")


if __name__ == "__main__":
    sys.exit(main())
