#!/usr/bin/python3 -B
"""Prints the figures of the code's shape that docs/architecture.md keeps: tools/shape.py [folder]

Sizes are in lines of .h and .cpp files. Needs universal-ctags (tools/install_packages --shape).
"""

import json
import pathlib
import re
import subprocess
import sys

LAYERS = ("include", "service", "database", "diagnostic", "firmware", "client", "platform", "siblings", "http",
          "ocpp_wire", "site", "simulator", "apps")
CORE = LAYERS[:5]
PUBLIC = ("include", "client/include", "platform/include", "siblings/include")


def sources(folder, suffixes=(".h", ".cpp")):
    return [path for path in folder.rglob("*") if path.suffix in suffixes]


def lines(paths):
    return sum(len(path.read_text().splitlines()) for path in paths)


def spread(sizes):
    ordered = sorted(sizes)
    return f"median {ordered[len(ordered) // 2]}, 90th percentile {ordered[len(ordered) * 9 // 10]}, largest {ordered[-1]}"


def tags(paths, kinds):
    result = subprocess.run(["ctags", "--output-format=json", "--fields=+nea", f"--kinds-C++={kinds}", "--languages=C++",
                             "--langmap=C++:+.h", "-f", "-", *map(str, paths)], capture_output=True, text=True, check=True)
    return [json.loads(line) for line in result.stdout.splitlines()]


def is_documented(text, number):
    """Whether the declaration at a line has its comment there or above."""
    above = number - 1
    while above > 0 and (re.match(r"\s*(template|requires|\[\[)", text[above - 1]) or text[above - 1].endswith(",")):
        above -= 1
    return "///" in text[number - 1] or text[above - 1].strip().startswith("///")


def repeats_another(tag, text):
    """Whether a declaration's comment stands elsewhere: at what it overrides, or at the template that it specialises."""
    whole = re.split(r"[;{]", "\n".join(text[tag["line"] - 1:tag["line"] + 4]))[0]
    return (tag["name"].startswith(("~", "json_codec")) or "json_codec" in tag.get("scope", "")
            or re.search(r"= (delete|default)|\boverride\b|^\s*(class|struct) \w+$|->", whole))


def public_declarations(root):
    """(name, whether it has a comment) of what the public headers declare."""
    for path in (header for folder in PUBLIC for header in (root / folder).rglob("*.h") if header.name != "export.h"):
        text = path.read_text().splitlines()
        for tag in tags([path], "pfcsg"):
            if (tag.get("access") not in ("private", "protected") and not tag["name"].startswith("__")
                    and not re.search("detail|json_sequence", tag.get("scope", "")) and not repeats_another(tag, text)):
                yield f"{path}:{tag['line']}", is_documented(text, tag["line"])


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).resolve().parent.parent)
    layers = {name: sources(root / name) for name in LAYERS if (root / name).is_dir()}
    product = [path for paths in layers.values() for path in paths]
    for name, paths in layers.items():
        print(f"{name:11} {lines(paths):6} lines in {len(paths)} files")
    print(f"core        {lines(path for name in CORE for path in layers[name]):6} lines: {', '.join(CORE)}")
    print(f"product     {lines(product):6} lines")
    print("files:     ", spread(lines([path]) for path in product))
    print("functions: ", spread(tag["end"] - tag["line"] + 1 for tag in tags(product, "f") if "end" in tag))
    documented = list(public_declarations(root))
    print(f"public declarations with a comment: {sum(has for _, has in documented)} of {len(documented)}")
    tests = lines(sources(root / "tests", (".h", ".cpp", ".py")))
    print(f"tests: {tests} lines, {tests / lines(product):.2f} to one of the product")


if __name__ == "__main__":
    main()
