#!/usr/bin/env python3
"""Builds and runs the code of a page of the documentation.

    docs-snippets.py generate PAGE.md PROGRAM.cpp
    docs-snippets.py run PAGE.md PROGRAM LIBRARY FOLDER...
    docs-snippets.py examples FOLDER PAGE.md...

What a block of a page is, its fence says:

    ```cpp            statements, or a program of its own where there is a main; run in the order
                      of the page, each as a process of its own in one folder that is empty at first
    ```text           right behind code or a command: what it prints
    ```console        lines after "$ " are run by bash, the rest is what they print; the programs
                      in FOLDER are on the path, and pkg-config finds the LIBRARY that was built
    ```console listed       for a library with the list of live objects only
    ```console unsanitized  not for a library with a sanitizer, whose run-time programs would need
    ```ini NAME       (or another word before a name, also cpp) a file for the blocks behind it
    ```cmake          each line stands in the build of the consumer under tests/consumer/, whose
                      program is called "program" in the page
    ```sh             commands for a checkout; the scripts of the repository are what runs them

`generate` writes all C++ blocks as one program, which takes the number of the block to run;
`examples` writes each as a file that the reference shows beside the classes used in it.
"""

import collections
import difflib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile

FENCE = re.compile(r"^```(\w*) ?(\S*)$")
WITHOUT_RUN = {"sh", "text"}  # a text that is not the output of a block is a drawing or a grammar


class Block:
    def __init__(self, kind, name, line):
        self.kind, self.name, self.line = kind, name, line
        self.lines = []

    def text(self):
        return "".join(line + "\n" for line in self.lines)


def blocks(page):
    """The fenced blocks of a page, in order; a text right behind code is told from one that is not."""
    result, current = [], None
    previous_end = None
    for number, line in enumerate(pathlib.Path(page).read_text("utf-8").splitlines(), 1):
        fence = FENCE.match(line)
        if current is None and fence:
            current = Block(fence[1], fence[2], number)
            current.is_output = fence[1] == "text" and not fence[2] and previous_end is not None
        elif current is not None and line == "```":
            result.append(current)
            current, previous_end = None, number
        elif current is not None:
            current.lines.append(line)
        elif line.strip():
            previous_end = None
    if current is not None:
        sys.exit(f"{page}:{current.line}: a block that does not end")
    return result


def generate(page, target):
    includes, bodies = [], []
    for block in blocks(page):
        if block.kind != "cpp" or block.name:
            continue
        number = len(bodies)
        code = []
        for offset, line in enumerate(block.lines, 1):
            if line.startswith("#include"):
                if line not in includes:
                    includes.append(line)
                line = ""
            code.append(line)
        text = "\n".join(code)
        if re.search(r"^int main\(\)", text, re.MULTILINE):
            returns = "return" in text # only main may do without
            text = re.sub(r"^int main\(\)", "int run()" if returns else "void run()", text,
                          flags=re.MULTILINE)
            call = "run()" if returns else "(run(), 0)"
        else:
            text = f"void run() {{\n#line {block.line + 1} \"{page}\"\n{text}\n}}"
            call = "(run(), 0)"
        bodies.append((f"namespace snippet{number} {{\n#line {block.line + 1} \"{page}\"\n{text}\n"
                       f"#line 1 \"generated\"\n"
                       f"int start() {{ return {call}; }}\n}} // namespace snippet{number}\n"))
    starts = "".join(f"    case {i}: return snippet{i}::start();\n" for i in range(len(bodies)))
    pathlib.Path(target).write_text(
        "\n".join(sorted(includes)) + "\n#include <cstdlib>\n\n" + "\n".join(bodies) +
        "\nint main(int, char** arguments) {\n    switch (std::atoi(arguments[1])) {\n" + starts +
        "    default: return 99;\n    }\n}\n", "utf-8")


def examples(folder, pages):
    folder = pathlib.Path(folder)
    folder.mkdir(parents=True)
    described = []
    for page in map(pathlib.Path, pages):
        heading, headings = page.stem, {}
        for line, text in enumerate(page.read_text("utf-8").splitlines(), 1):
            if text.startswith("#") and not text.startswith("#include"):
                heading = text.lstrip("# ")
            headings[line] = heading
        used = collections.Counter()
        for block in blocks(page):
            if block.kind != "cpp" or block.name:
                continue
            title = headings[block.line]
            used[title] += 1
            title += f", {used[title]}" if used[title] > 1 else ""
            name = re.sub(r"\W+", "-", f"{page.stem} {title}").strip("-").lower() + ".cpp"
            code = block.text()
            if not re.search(r"^int main\(", code, re.MULTILINE):
                code = re.sub(r"((?:#include.*\n|\n)*)((?:.*\n)*)", r"\1int main() {\n\2}\n", code, count=1)
            (folder / name).write_text(code, "utf-8")
            described.append(f"/** @example {name}\n{title} (of the guide) */\n")
    (folder / "examples.dox").write_text("".join(described), "utf-8")


def complain(page, block, expected, printed, status):
    print(f"{page}:{block.line}: status {status}, and the output differs:" if expected is not None
          else f"{page}:{block.line}: ends with status {status}:")
    sys.stdout.writelines(difflib.unified_diff(
        (expected or "").splitlines(True), printed.splitlines(True), "the page", "the run"))


def copy_programs(folder, home):
    """Copies the programs of a folder, and the modules beside it, to where nobody else may write, as
    others may a build tree: modules are not loaded from there."""
    for kind in (folder, folder.parent / "modules"):
        copies = pathlib.Path(home, "built", kind.name)
        copies.mkdir(parents=True)
        for file in kind.glob("*"):
            if file.is_file() and os.access(file, os.X_OK):
                shutil.copyfile(file, copies / file.name)
                (copies / file.name).chmod(0o755)
    return str(pathlib.Path(home, "built", folder.name))


def run(page, program, library, folders):
    page_blocks = blocks(page)
    os.umask(0o022)
    root = pathlib.Path(__file__).resolve().parent.parent
    consumers = {line.replace("consumer_cpp", "program") for path in root.glob("tests/consumer/*/CMakeLists.txt")
                 for line in path.read_text("utf-8").splitlines()}
    failures = snippets = 0
    with tempfile.TemporaryDirectory() as home:
        folder = pathlib.Path(home, "work")
        folder.mkdir()
        program = os.path.abspath(program)
        folders = [copy_programs(pathlib.Path(each).resolve(), home) for each in folders]
        built = os.path.dirname(os.path.abspath(library))
        # Objects have another layout in a library that lists them; its own file says so.
        listed = "-DQX_LEAK_LIST" if "-DQX_LEAK_LIST" in pathlib.Path(built, "../qx.pc").read_text() else ""
        sanitized = re.search(r"^QX_SANITIZE:\w+=.", pathlib.Path(built, "../CMakeCache.txt").read_text(), re.M)
        left_out = {"unsanitized"} if sanitized else set()
        left_out |= set() if listed else {"listed"}
        pathlib.Path(home, "qx.pc").write_text(
            f"libdir={built}\nmoduledir={home}/built/modules\nName: qx\nDescription: as built\nVersion: 1\nCflags: -I{root} {listed}\n"
            f"Libs: -L{built} -lqx -Wl,-rpath,{built}\n")
        environment = dict(os.environ, HOME=home, XDG_DATA_HOME=str(pathlib.Path(home, "data")),
                           PKG_CONFIG_PATH=home, LC_ALL="C.UTF-8", PATH=os.pathsep.join([*folders, os.environ["PATH"]]))

        def execute(command):
            done = subprocess.run(command, cwd=folder, env=environment, stdout=subprocess.PIPE,
                                  stderr=subprocess.STDOUT, timeout=120, stdin=subprocess.DEVNULL)
            return done.returncode, done.stdout.decode("utf-8", "replace")

        for index, block in enumerate(page_blocks):
            follower = page_blocks[index + 1] if index + 1 < len(page_blocks) else None
            if block.kind == "cpp" and not block.name:
                status, printed = execute([program, str(snippets)])
                snippets += 1
                expected = follower.text() if follower is not None and follower.is_output else None
                if status != 0 or (expected is not None and printed != expected):
                    complain(page, block, expected, printed, status)
                    failures += 1
            elif block.kind == "console" and block.name in left_out:
                pass
            elif block.kind == "console":
                commands = [line[2:] for line in block.lines if line.startswith("$ ")]
                expected = "".join(line + "\n" for line in block.lines if not line.startswith("$ "))
                status, printed = execute(["bash", "-c", "\n".join(commands)])
                if printed != expected:
                    complain(page, block, expected, printed, status)
                    failures += 1
            elif block.kind == "cmake":
                if not all(line in consumers for line in block.lines):
                    print(f"{page}:{block.line}: not in any tests/consumer/*/CMakeLists.txt")
                    failures += 1
            elif block.name:
                (folder / block.name).write_text(block.text(), "utf-8")
            elif block.kind not in WITHOUT_RUN:
                print(f"{page}:{block.line}: nothing runs a block of kind '{block.kind}'")
                failures += 1
    return 1 if failures else 0


if __name__ == "__main__":
    if len(sys.argv) >= 4 and sys.argv[1] == "generate":
        generate(*sys.argv[2:4])
    elif len(sys.argv) >= 4 and sys.argv[1] == "examples":
        examples(sys.argv[2], sys.argv[3:])
    elif len(sys.argv) >= 5 and sys.argv[1] == "run":
        sys.exit(run(sys.argv[2], sys.argv[3], sys.argv[4], sys.argv[5:]))
    else:
        sys.exit(__doc__)
