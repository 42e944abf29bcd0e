#!/usr/bin/env python3
"""Prints the completion of a program for a shell: tools/gen/completions.py bash|fish|zsh PROGRAM

It is made of tools/PROGRAM/completion.txt, whose lines are
    --option [KIND]: description
    command KIND...: description
    * KIND...          the parameters before the command, or of a program without commands
A KIND is what a parameter or value is: words with "|" between them, or one of KINDS; any other word
names what is not completed. "..." behind the last kind repeats it. --help, -h and --version are
those of every program.
"""

import pathlib
import sys

KINDS = ("file", "folder", "messages", "encoding", "set", "object", "registry-key")
ROOTS = "QX_HKEY_{USER,{CLASSES,CONFIG}{,_32,_64,_CROSS}}"


class Description:
    def __init__(self, name):
        self.name = name
        self.options = []  # (name, kind or None, description)
        self.commands = []  # (name, kinds, description)
        self.before = []
        path = pathlib.Path(__file__).parent.parent / name / "completion.txt"
        for line in path.read_text("utf-8").splitlines():
            if line.startswith("#"):
                continue
            head, _, text = line.partition(": ")
            if set(text) & set("'\"[]$\\"):
                sys.exit(f"{path}: a description that the shells would read: {text}")
            first, *kinds = head.split()
            if first == "*":
                self.before = kinds
            elif first.startswith("-"):
                self.options.append((first, kinds[0] if kinds else None, text))
            else:
                self.commands.append((first, kinds, text))

    def with_values(self):
        return [name for name, kind, _ in self.options if kind]

    def parameters(self):
        """(position, whether also behind it, kind, names of the commands) of what is completed."""
        places = {}
        for name, kinds, _ in [(None, self.before, ""), *self.commands]:
            start = 0 if name is None else len(self.before) + 1
            for position, kind in enumerate(kinds, start):
                repeats = kind.endswith("...")
                kind = kind.removesuffix("...")
                if kind in KINDS or "|" in kind:
                    names = places.setdefault((position, repeats, kind), [])
                    names.extend([name] if name else [])
        return [(*place, names) for place, names in places.items()]

    def used(self, kind):
        return any(kind == each[1] for each in self.options) or \
            any(kind == each[2] for each in self.parameters())


def bash(of):
    def names_from(command):
        return ('while IFS= read -r name; do # quoted for the shell\n'
                '    name=$(printf %q "$name")\n'
                '    [[ $name != "$current"* ]] || COMPREPLY+=("$name")\n'
                f'done < <({command})')

    bodies = {
        "file": 'compopt -o filenames 2>/dev/null\n'
                'mapfile -t COMPREPLY < <(compgen -f -- "$current")',
        "folder": 'compopt -o filenames 2>/dev/null\n'
                  'mapfile -t COMPREPLY < <(compgen -d -- "$current")',
        "messages": 'compopt -o filenames 2>/dev/null\n'
                    'mapfile -t COMPREPLY < <(compgen -d -- "$current"; '
                    'compgen -f -X \'!*.messages\' -- "$current")',
        "encoding": '# Whatever way the program was called, it knows the encodings, in any letter case.\n'
                    'while read -r name _; do\n'
                    '    [[ ${name,,} != "${current,,}"* ]] || COMPREPLY+=("$name")\n'
                    'done < <("${COMP_WORDS[0]}" -l 2>/dev/null)',
        "set": names_from('"${COMP_WORDS[0]}" "${words[0]/#\\~/$HOME}" sets 2>/dev/null'),
        "object": names_from('"${COMP_WORDS[0]}" list 2>/dev/null | '
                             "sed -n 's/^[^ ][^ ]* \\(.*\\): .*/\\1/p'"),
        "registry-key": '# a path goes on behind the root\n'
               'compopt -o nospace 2>/dev/null\n'
               f'COMPREPLY=($(compgen -W "$(echo {ROOTS})" -- "$current"))',
    }

    def quoted(kind):
        return f"'{kind}'" if "|" in kind else kind

    options = " ".join([*(name for name, _, _ in of.options), "-h", "--help", "--version"])
    takers = {}
    for name, kind, _ in of.options:
        if kind:
            takers.setdefault(kind, []).append(name)
    command = len(of.before) if of.commands else None
    lines = [
        f"_{of.name}() {{",
        "    local current=${COMP_WORDS[COMP_CWORD]} kind= name i words=()",
        "    COMPREPLY=()",
        "    case ${COMP_WORDS[COMP_CWORD - 1]} in",
        *(f"    {' | '.join(names)}) kind={quoted(kind)} ;;" for kind, names in takers.items()),
        "    esac",
        "    if [[ -z $kind && $current == -* ]]; then",
        f'        COMPREPLY=($(compgen -W "{options}" -- "$current"))',
        "        return",
        "    fi",
    ]
    if of.parameters():
        lines += [
            "    for ((i = 1; i < COMP_CWORD; ++i)); do # what stands before, without options and their values",
            "        case ${COMP_WORDS[i]} in",
            f"        {' | '.join(of.with_values())}) ((++i)) ;;",
            "        -?*) ;;",
            '        *) words+=("${COMP_WORDS[i]}") ;;',
            "        esac",
            "    done",
            f"    [[ -n $kind ]] || case ${{#words[@]}}:${{words[{command or 0}]-}} in",
            *([f"    {command}:*) kind='{'|'.join(name for name, _, _ in of.commands)}' ;;"]
              if of.commands else []),
        ]
        for position, repeats, kind, commands in of.parameters():
            places = f"[{position}-9]*" if repeats else str(position)
            patterns = " | ".join(f"{places}:{name}" for name in commands or ["*"])
            lines.append(f"    {patterns}) kind={quoted(kind)} ;;")
        lines.append("    esac")
    lines.append("    case $kind in")
    for kind in filter(of.used, KINDS):
        lines += [f"    {kind})", *("        " + line for line in bodies[kind].split("\n")),
                  "        ;;"]
    lines += [
        "    *'|'*) COMPREPLY=($(compgen -W \"${kind//|/ }\" -- \"$current\")) ;;",
        "    esac",
        "}",
        f"complete -F _{of.name} {of.name}",
    ]
    return lines


def fish(of):
    words, at = f"__{of.name}_words", f"__{of.name}_at"
    values = {
        "file": "-F",
        "folder": "-a '(__fish_complete_directories)'",
        "messages": "-a '(__fish_complete_path (commandline -ct) | "
                    "string match -r \"^.*(?:/|\\.messages)(?=\\t)\")'",
        "encoding": f"-a '(__{of.name}_encodings)'",
        "set": f"-a '(__{of.name}_sets)'",
        "object": f"-a '(__{of.name}_objects)'",
        "registry-key": f"-a '{ROOTS}'",
    }

    def offered(kind):
        return f"-a '{kind.replace('|', ' ')}'" if "|" in kind else values.get(kind, "")

    lines = [
        "# What stands before, without options and their values.",
        f"function {words}",
        "    set -l skips no",
        "    for word in (commandline -opc)[2..]",
        "        if test $skips = yes",
        "            set skips no",
        f"        else if contains -- $word {' '.join(of.with_values())}",
        "            set skips yes",
        "        else if not string match -qr '^-.' -- $word",
        "            printf '%s\\n' $word",
        "        end",
        "    end",
        "end",
        "# Whether as many words stand before, COMPARISON NUMBER, for one of the commands.",
        f"function {at}",
        f"    set -l words ({words})",
        "    test (count $words) $argv[1] $argv[2]",
        f"    and begin; not set -q argv[3]; or contains -- \"$words[{len(of.before) + 1}]\" $argv[3..]; end",
        "end",
    ]
    if of.used("encoding"):
        lines += [f"function __{of.name}_encodings",
                  "    set -l program (commandline -opc)[1]",
                  "    $program -l 2>/dev/null | string match -r '^[^ ]+'",
                  "end"]
    if of.used("set"):
        lines += [f"function __{of.name}_sets",
                  "    set -l program (commandline -opc)[1]",
                  f"    set -l file ({words})[1]",
                  "    $program (string replace -r '^~' $HOME -- $file) sets 2>/dev/null",
                  "end"]
    if of.used("object"):
        lines += [f"function __{of.name}_objects",
                  "    set -l program (commandline -opc)[1]",
                  "    $program list 2>/dev/null | string replace -rf '^[^ ]+ (.*): .*' '$1'",
                  "end"]
    add = f"complete -c {of.name}"
    lines.append(f"{add} -f")
    for name, kind, text in of.options:
        letter = f"-l {name[2:]}" if name.startswith("--") else f"-s {name[1:]}"
        value = f"{'-r' if kind == 'file' else '-x'} {offered(kind)} ".replace("  ", " ") \
            if kind else ""
        lines.append(f"{add} {letter} {value}-d '{text}'")
    lines += [f"{add} -s h -l help -d 'show a summary'", f"{add} -l version -d 'show the version'"]
    for name, _, text in of.commands:
        lines.append(f"{add} -n '{at} -eq {len(of.before)}' -a {name} -d '{text}'")
    for position, repeats, kind, commands in of.parameters():
        condition = " ".join([at, "-ge" if repeats else "-eq", str(position), *commands])
        lines.append(f"{add} -n '{condition}' {offered(kind)}")
    return lines


def zsh(of):
    actions = {
        "file": "_files",
        "folder": "_files -/",
        "messages": '_files -g "*.messages"',
        "encoding": '{ compadd -- ${(f)"$(_call_program encodings $program -l | cut -d " " -f 1)"} }',
        "set": '{ compadd -- ${(f)"$(_call_program sets $program $line[1] sets)"} }',
        "object": '{ compadd -- ${(f)"$(_call_program objects $program list | '
                  'sed -n "s/^[^ ][^ ]* \\(.*\\): .*/\\1/p")"} }',
        "registry-key": f'{{ compadd -S "" -- {ROOTS} }}',
    }

    def action(kind):
        return f"({kind.replace('|', ' ')})" if "|" in kind else actions.get(kind, "")

    def label(kind):
        return "value" if "|" in kind else kind

    lines = ["local program=$words[1] curcontext=$curcontext state line", "_arguments -S \\"]
    for name, kind, text in of.options:
        joint = ("=" if name.startswith("--") else "+") if kind else ""
        value = f":{label(kind)}:{action(kind)}" if kind else ""
        lines.append(f"    '{name}{joint}[{text}]{value}' \\")
    lines += ["    '(- *)'{-h,--help}'[show a summary]' \\",
              "    '(- *)--version[show the version]' \\"]
    for position, kind in enumerate(of.before, 1):
        place = "*" if kind.endswith("...") else position
        kind = kind.removesuffix("...")
        lines.append(f"    '{place}:{label(kind)}:{action(kind)}' \\")
    if not of.commands:
        lines[-1] = lines[-1].removesuffix(" \\")
        return lines
    command = len(of.before) + 1
    places = [place for place in of.parameters() if place[3]]
    last = max(place[0] for place in places)
    lines += [f"    '{command}:command:->command' \\",
              *(f"    '{at + 1}:parameter:->{at}' \\" for at in range(command, last + 1)),
              "    '*:parameter:->rest' && return",
              "if [[ $state == command ]]; then",
              "    local -a commands=("]
    lines += [f"        '{name}:{text}'" for name, _, text in of.commands]
    lines += ["    )", "    _describe command commands", "    return", "fi",
              f"case $state:$line[{command}] in"]
    for position, repeats, kind, commands in places:
        states = f"({'|'.join(map(str, range(position, last + 1)))}|rest)" if repeats else position
        body = action(kind).removeprefix("{ ").removesuffix(" }")
        lines.append(f"{states}:({'|'.join(commands)})) {body} ;;")
    return [*lines, "*) return 1 ;;", "esac"]


def main():
    shell, name = sys.argv[1:]
    first = [f"#compdef {name}"] if shell == "zsh" else []
    print(*first, f"# Made by: {' '.join(['tools/gen/completions.py', shell, name])}",
          f"# Completion of the arguments of {name} in {shell}.", "",
          *{"bash": bash, "fish": fish, "zsh": zsh}[shell](Description(name)), sep="\n")


main()
