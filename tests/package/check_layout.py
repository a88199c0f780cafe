#!/usr/bin/env python3
"""Compares the order of virtual operations and data members of the core's classes with a checked-in table.

Reads the order from GCC: the tables of virtual operations from -fdump-lang-class (it alone says where the destructors
stand), signatures and data members from the debug information of the same compilation, walked with readelf.

    check_layout.py --compiler g++ --include ROOT --source layout.cpp --expected layout.expected
    check_layout.py ... --show      prints the table as the compiler has it, in the format of the expected file
"""

import argparse
import difflib
import pathlib
import re
import subprocess
import sys
import tempfile

CLASS_TAGS = ("DW_TAG_class_type", "DW_TAG_structure_type")
SHORT = {
    "long unsigned int": "unsigned long",
    "long long unsigned int": "unsigned long long",
    "long int": "long",
    "long long int": "long long",
    "short unsigned int": "unsigned short",
}
# In data members only the width of an integer counts.
WIDTHS = [
    (r"\bunsigned long long\b|\bunsigned long\b", "u64"),
    (r"\blong long\b|\blong\b", "i64"),
    (r"\bunsigned int\b", "u32"),
    (r"\bint\b", "i32"),
]
DROPPED = ("allocator<", "default_delete<", "less<", "char_traits<")


class Die:
    def __init__(self, tag, parent):
        self.tag, self.parent = tag, parent
        self.attributes, self.children = {}, []

    def name(self):
        return self.attributes.get("name", "")


def read_dies(path):
    """All entries of the debug information, by offset."""
    text = subprocess.run(["readelf", "--wide", "--debug-dump=info", path], check=True, capture_output=True, text=True)
    head = re.compile(r"^ <([0-9a-f]+)><([0-9a-f]+)>: Abbrev Number: \d+ \((DW_TAG_\w+)\)")
    attribute = re.compile(r"^\s+<[0-9a-f]+>\s+DW_AT_(\w+)\s*: (.*)$")
    dies, stack = {}, []
    for line in text.stdout.splitlines():
        match = head.match(line)
        if match:
            depth = int(match[1], 16)
            del stack[depth:]
            die = Die(match[3], stack[-1] if stack else None)
            if stack:
                stack[-1].children.append(die)
            stack.append(die)
            dies[int(match[2], 16)] = die
            continue
        match = attribute.match(line)
        if match and stack:
            # Newer versions of readelf name the form of each value first.
            value = re.sub(r"^\((?:strp|line_strp|strx\d?|string|ref\d|ref_addr|data\d|sdata|udata|flag_present|flag|"
                           r"exprloc|block\d|implicit_const)\) ?", "", match[2])
            value = re.sub(r"^\((?:indirect (?:line )?string, |indexed string: )?(?:offset: )?0x[0-9a-f]+\): ", "",
                           value)
            value = value.strip()
            stack[-1].attributes[match[1]] = value
    return dies


def split_arguments(text):
    parts, depth, current = [], 0, ""
    for char in text:
        if char == "," and depth == 0:
            parts.append(current)
            current = ""
            continue
        depth += {"<": 1, "(": 1, ">": -1, ")": -1}.get(char, 0)
        current += char
    return [part.strip() for part in parts + [current]]


def shorten(name):
    """A type's name without namespaces and default template arguments."""
    name = re.sub(r"\b(?:\w+::)+", "", name.replace("(anonymous namespace)::", ""))
    for long_name, short_name in SHORT.items():
        name = re.sub(rf"\b{long_name}\b", short_name, name)
    name = re.sub(r"^([\w ]+) const\b", r"const \1", name)
    match = re.match(r"^([^<]*)<(.*)>\s*([*&]*)$", name)
    if not match or name.startswith("operator"):
        return re.sub(r"\s+([*&])", r"\1", name)
    arguments = [shorten(part) for part in split_arguments(match[2])]
    arguments = [part for part in arguments if not part.startswith(DROPPED)]
    base = match[1].strip()
    if base.split()[-1] == "basic_string" and arguments[0] in ("char", "char16_t"):
        text = base.replace("basic_string", "string" if arguments[0] == "char" else "ustring")
    else:
        text = f"{base}<{', '.join(arguments)}>"
    return text + match[3]


def qualified(die):
    """A class's name with its namespaces, as the class dump writes it."""
    names = []
    while die is not None and die.tag != "DW_TAG_compile_unit":
        names.append(die.name())
        die = die.parent
    return "::".join(reversed(names))


def read_tables(path):
    """The slots of each class's table of virtual operations, from the class dump."""
    tables, name = {}, None
    for line in pathlib.Path(path).read_text(encoding="utf-8").splitlines():
        if line.startswith("Vtable for "):
            name = line.removeprefix("Vtable for ")
            tables[name] = []
        elif name and re.match(r"\d+ ", line):
            tables[name].append(line.split(None, 1)[1])
        elif not line.strip():
            name = None
    return {name: slots[2:] for name, slots in tables.items()}  # less the offset to the top and the type information


class Reader:
    def __init__(self, dies, tables):
        self.dies = dies
        self.tables = tables
        self.classes = {}
        for die in dies.values():
            if die.tag in CLASS_TAGS and "byte_size" in die.attributes and "declaration" not in die.attributes:
                self.classes.setdefault(shorten(die.name()), []).append(die)

    def type_of(self, die):
        match = re.match(r"<(?:0x)?([0-9a-f]+)>", die.attributes.get("type", ""))
        return self.dies[int(match[1], 16)] if match else None

    def type_name(self, die):
        if die is None:
            return "void"
        inner = self.type_of(die)
        if die.tag == "DW_TAG_typedef":
            return self.type_name(inner)
        if die.tag == "DW_TAG_pointer_type":
            return self.type_name(inner) + "*"
        if die.tag == "DW_TAG_reference_type":
            return self.type_name(inner) + "&"
        if die.tag == "DW_TAG_rvalue_reference_type":
            return self.type_name(inner) + "&&"
        if die.tag == "DW_TAG_const_type":
            text = self.type_name(inner)
            return f"{text} const" if text.endswith("*") else f"const {text}"
        return shorten(die.name())

    def signature(self, function):
        """Name, arguments, constness and result of a member function."""
        arguments, is_const = [], False
        for child in function.children:
            if child.tag != "DW_TAG_formal_parameter":
                continue
            if "artificial" in child.attributes:
                is_const = self.type_name(self.type_of(child)).startswith("const ")
                continue
            arguments.append(self.type_name(self.type_of(child)))
        const = " const" if is_const else ""
        return f"{function.name()}({', '.join(arguments)}){const} -> {self.type_name(self.type_of(function))}"

    def virtuals(self, die):
        """Own virtual functions by slot."""
        found = {}
        for child in die.children:
            location = child.attributes.get("vtable_elem_location", "")
            match = re.search(r"DW_OP_constu: (\d+)", location)
            if child.tag == "DW_TAG_subprogram" and match:
                found[int(match[1])] = child
        return found

    def base_of(self, die):
        for child in die.children:
            if child.tag == "DW_TAG_inheritance":
                return self.type_of(child)
        return None

    def slots(self, die):
        """Number of slots in the class's table; 0 for a class that has none."""
        return len(self.tables.get(qualified(die), [])) if die else 0

    def complete(self, die):
        if die is None or "byte_size" in die.attributes:
            return die
        return self.classes[shorten(die.name())][0]

    def describe(self, die):
        base = self.complete(self.base_of(die))
        lines = [f"class {shorten(die.name())}" + (f" : {shorten(base.name())}" if base else "")]
        own = self.virtuals(die)
        for slot in range(self.slots(die)):
            if slot in own:
                overrides = slot < self.slots(base)
                lines.append(f"  override {own[slot].name()}" if overrides else
                             f"  virtual {self.signature(own[slot])}")
            elif slot >= self.slots(base) and slot - 1 not in own and lines[-1] == "  virtual ~":
                continue  # the second slot of the destructor
            elif slot >= self.slots(base):
                lines.append("  virtual ~")
        for child in die.children:
            skipped = ("external", "declaration", "artificial")
            if child.tag != "DW_TAG_member" or child.name().startswith("_vptr") or any(
                    key in child.attributes for key in skipped):
                continue
            text = self.type_name(self.type_of(child))
            for pattern, width in WIDTHS:
                text = re.sub(pattern, width, text)
            lines.append(f"  field {text} {child.name().rstrip('_')}")
        return lines


def read_expected(path):
    blocks = []
    for line in pathlib.Path(path).read_text(encoding="utf-8").splitlines():
        if not line.strip() or line.startswith("#"):
            continue
        if line.startswith("class "):
            blocks.append([])
        blocks[-1].append(line)
    return blocks


def in_order(block):
    """The comparison ignores the places of overrides, not the order of anything else."""
    return [block[0]] + sorted(x for x in block if x.startswith("  override")) + [
        x for x in block[1:] if not x.startswith("  override")]


def compile_source(options, folder):
    target = f"{folder}/layout.o"
    command = [options.compiler, "-std=c++20", "-c", "-O0", "-g", "-gdwarf-4", f"-I{options.include}", options.source,
               "-o", target]
    command += ["-femit-class-debug-always", "-fno-eliminate-unused-debug-types", f"-fdump-lang-class={folder}/classes"]
    subprocess.run(command, check=True)
    return target, f"{folder}/classes"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for name in ("--compiler", "--include", "--source", "--expected"):
        parser.add_argument(name, required=True)
    parser.add_argument("--show", action="store_true")
    options = parser.parse_args()

    with tempfile.TemporaryDirectory() as folder:
        objects, classes = compile_source(options, folder)
        reader = Reader(read_dies(objects), read_tables(classes))

    failures = 0
    blocks = read_expected(options.expected)
    for block in blocks:
        name = block[0].removeprefix("class ").split(" : ")[0]
        candidates = [die for die in reader.classes.get(name, []) if in_project(die)]
        if len(candidates) != 1:
            print(f"{name}: {len(candidates)} classes of this name in the debug information, expected 1")
            failures += 1
            continue
        actual = in_order(reader.describe(candidates[0]))
        if options.show:
            print("\n".join(actual) + "\n")
        elif actual != in_order(block):
            failures += 1
            print(f"{name}: the compiler's order (+) is not the expected one (-)")
            print("\n".join(x for x in difflib.ndiff(in_order(block), actual) if not x.startswith("?")))
    if not blocks:
        sys.exit(f"{options.expected} names no class")
    print(f"{len(blocks)} classes compared, {failures} differ")
    return 1 if failures else 0


def in_project(die):
    """Whether a class is in one of the project's namespaces (or in none)."""
    outer = die
    while outer.parent is not None and outer.parent.tag != "DW_TAG_compile_unit":
        outer = outer.parent
    return outer is die or outer.name() in ("vtio", "vtsim", "vtu", "sigstg", "smartlog")


if __name__ == "__main__":
    sys.exit(main())
