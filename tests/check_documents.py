#!/usr/bin/python3 -B
"""Hold the documents against what they name: files, tests and their rows, options, numbers, the
texts of the program and the manual's pictures."""

import argparse
import os
import pathlib
import re
import subprocess
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[1]
ENGINEERING = ("README.md", "CONTRIBUTING.md", "docs/*.md", "resources/artwork/README.md")
MANUAL = ("docs/manual/chapters/*.adoc", "docs/manual/manual.adoc")
SOURCES = ("src", "forms", "tests", "tools", "benchmarks", "fuzz", "scripts", "packaging", "debian")
CMAKE = ("CMakeLists.txt", "*/CMakeLists.txt", "*/*/CMakeLists.txt", "cmake/*")
FOLDERS = (*SOURCES, "resources", "docs", "cmake")


def read(path):
    return (PROJECT / path).read_text(encoding="utf-8")


def files(*patterns):
    found = [path for pattern in patterns for path in sorted(PROJECT.glob(pattern))]
    return [path for path in found if path.is_file()]


def exists(pattern):
    return any(True for _ in PROJECT.glob(pattern))


def documents(*patterns):
    """The name and text of each document."""
    for path in files(*patterns):
        yield path.relative_to(PROJECT), path.read_text(encoding="utf-8")


def script_usage(name):
    """The comment at the head of a script."""
    return re.match(r"#!.*\n((?:#.*\n)*)", read(f"scripts/{name}"))[1]


def script_names():
    return [path.name for path in files("scripts/*")]


def check_paths(_):
    """Every file and folder named is there."""
    path = re.compile(rf"(?<![\w./~*-])((?:{'|'.join(FOLDERS)}|\.ci)/[\w./*-]*)")
    for document, text in documents(*ENGINEERING, *MANUAL, "packaging/*", "debian/control"):
        for name in path.findall(text):
            name = name.rstrip(".")
            if not any(exists(name.rstrip("/") + end) for end in ("", ".h")):
                yield f"{document}: there is no {name}"


def source_words():
    """Every word of the sources."""
    words = set()
    paths = [
        *files(*(f"{folder}/**/*" for folder in SOURCES)),
        *files("CMake*", "cmake/*", "tests/*"),
    ]
    for path in paths:
        if path != pathlib.Path(__file__):
            words.update(re.findall(r"\w+", path.read_text(encoding="utf-8", errors="ignore")))
    return words


def check_identifiers(_):
    """Every function, class and variable named is in the sources."""
    words = source_words()
    for document, text in documents(*ENGINEERING):
        for name in re.findall(r"`((?:\w+::)*\w+)(?:\(\))?`", text):
            if not name.startswith("tst_") and not words.issuperset(name.split("::")):
                yield f"{document}: the sources have no {name}"


def named_functions(text):
    """Test, function and rows, as the documents name them."""
    function = r"`(?!tst_)\w+(?:\([^`]*\))?`(?: \([^)]*\))?"
    for test, functions in re.findall(rf"`(tst_\w+)`: ((?:{function}(?:, )?)+)", text):
        for name, row, rows in re.findall(r"`(\w+)(?:\(([^`]*)\))?`(?: \(([^)]*)\))?", functions):
            yield test, name, [row] if row else re.findall(r'"([^"]*)"', rows)
    for test, name, row in re.findall(r'\b(tst_\w+) (\w+):("[^"]*"|\w+)', text):
        yield test, name, [row.strip('"')]


class TestPrograms:
    """What the test programs themselves say that they have."""

    def __init__(self, folder):
        self.folder = folder
        self.answers = {}

    def ask(self, test, option):
        if (test, option) not in self.answers:
            environment = {**os.environ, "QT_QPA_PLATFORM": "offscreen"}
            command = [self.folder / test, option]
            output = subprocess.run(command, env=environment, capture_output=True, check=True)
            self.answers[test, option] = output.stdout.decode().splitlines()
        return self.answers[test, option]

    def has_function(self, test, function):
        return f"{function}()" in self.ask(test, "-functions")

    def has_row(self, test, function, row):
        """A row that ends with `...` stands for all that begin so."""
        wanted = f"{function} {row}"
        # Each is printed after the name of the test's class.
        rows = [line.partition(" ")[2] for line in self.ask(test, "-datatags")]
        return any(tag == wanted or "..." in row and tag.startswith(wanted[:-3]) for tag in rows)


def check_tests(options):
    """Every test named is there, and has the functions and rows named."""
    programs = TestPrograms(options.programs)
    for document, text in documents(*ENGINEERING):
        for test in sorted(set(re.findall(r"\btst_\w+", text))):
            if not exists(f"tests/**/{test}.cpp"):
                yield f"{document}: there is no {test}"
        for test, function, rows in named_functions(text):
            if not (options.programs / test).exists():
                yield f"{test}, which {document} names, is not built"
                continue
            if not programs.has_function(test, function):
                yield f"{document}: {test} has no function {function}"
                continue
            for row in rows:
                if not programs.has_row(test, function, row):
                    yield f"{document}: {test}, {function} has no row '{row}'"


def check_commands(_):
    """Every option, preset, target and test of a command is there."""
    presets = set(re.findall(r'"name": "([\w-]+)"', read("CMakePresets.json")))
    cmake = "".join(text for _, text in documents(*CMAKE))
    targets = set(re.findall(r"add_(?:custom_target|executable|library)\(([\w-]+)", cmake))
    tests = set(re.findall(r"(?:fennix_add_test\(|NAME )(\w+)", cmake))
    usages = {name: script_usage(name) for name in script_names()}
    for document, text in documents(*ENGINEERING, *MANUAL):
        for script, arguments in re.findall(r"\bscripts/([\w-]+)((?: [\w=-]+)*)", text):
            for option in re.findall(r" (--[\w-]+)", arguments):
                if not re.search(rf"{option}\b", usages.get(script, option)):
                    yield f"{document}: scripts/{script} has no option {option}"
        for kind, names in (("preset", presets), ("target", targets)):
            for name in re.findall(rf"--{kind} ([\w-]+)", text):
                if name not in names:
                    yield f"{document}: there is no {kind} {name}"
        for name in re.findall(r"scripts/test ([a-z][\w-]*)", text):
            if name not in presets:
                yield f"{document}: there is no preset {name}"
        for name in re.findall(r" -R (\w+)", text):
            if name not in tests:
                yield f"{document}: there is no test {name}"


def check_script_options(_):
    """Every option in the text around a command is one of a script or of the simulator."""
    known = "".join(map(script_usage, script_names())) + read("packaging/fennix-simulator.1")
    known = known.replace("Fl -", "--") + "--help"
    pages = (
        "README.md",
        "CONTRIBUTING.md",
        "docs/reliability.md",
        "docs/manual/chapters/simulator.adoc",
    )
    for document, text in documents(*pages):
        for option in re.findall(r"`(--[\w-]+)", text):
            if option not in known:
                yield f"{document}: nothing has the option {option}"


def compare(what, expected, found):
    for name in sorted(set(expected) - set(found)):
        yield f"{what} lacks {name}"
    for name in sorted(set(found) - set(expected)):
        yield f"{what} has {name}, which the simulator has not"


def check_simulator(_):
    """Manual page, help and manual have the simulator's options, devices and control lines."""
    page = read("packaging/fennix-simulator.1")
    source = read("tools/simulator/options.cpp")
    manual = read("docs/manual/chapters/simulator.adoc")
    options = re.findall(r'\{QStringLiteral\("(\w+)"\)', source)
    yield from compare("fennix-simulator.1", options, re.findall(r"\n\.It Fl -(\w+)", page))
    kinds = re.findall(
        r'\{QStringLiteral\("([\w-]+)"\)', read("tools/simulator/device_options.cpp")
    )
    mentioned = re.findall(r"[\w-]+", page), re.findall(r"[\w-]+", source.replace('"\n', ""))
    for place, words in zip(("fennix-simulator.1", "the simulator's help"), mentioned):
        yield from (f"{place} lacks the device {kind}" for kind in kinds if kind not in words)
    # A description's lines, each a verb and its nodes.
    verbs = set(re.findall(r"([a-z]+) NODE", source))
    control = page[page.index(".Ss Control") :]
    yield from compare("fennix-simulator.1", verbs, re.findall(r"\n\.It Cm (\w+) Ar node", control))
    yield from compare("simulator.adoc", verbs, re.findall(r"`(\w+) ttyUSB0`", manual))


# What the code has, as a pattern, and where documents repeat it.
NUMBERS = (
    ("src/connection.cpp", r"\b(17754)\b", "packaging/fennix.1", r"UDP port (\d+)"),
    ("src/connection.cpp", r"\b(17754)\b", "docs/architecture.md", r"to port (\d+)"),
    ("src/connection.cpp", r"\b(17754)\b", "docs/manual/chapters/*.adoc", r"port (177\d+)"),
    (
        "src/connection.cpp",
        r"\b(17754)\b",
        "packaging/wireshark/profile/preferences",
        r"port: (\d+)",
    ),
    (
        "tools/simulator/options.cpp",
        r"longestInterval = (\d+)",
        "packaging/fennix-simulator.1",
        r"milliseconds, 1 to (\d+)",
    ),
    (
        "tools/simulator/simulated_device.h",
        r"highestChannel = (\d+)",
        "packaging/fennix-simulator.1",
        r"channel reported, 11 to (\d+)",
    ),
    (
        "tools/simulator/simulated_device.h",
        r"highestChannel = (\d+)",
        "tools/simulator/options.cpp",
        r"\(11 to (\d+)\)",
    ),
    ("cmake/Coverage.cmake", r"fail-under-line (\d+)", "docs/coverage.md", r"below (\d+) %"),
    ("cmake/Coverage.cmake", r"under-branch (\d+)", "docs/coverage.md", r"below \d+ % and (\d+) %"),
    ("CMakeLists.txt", r"VERSION (\d+\.\d+) DESC", "debian/changelog", r"\A\w+ \((\d+\.\d+)"),
    (
        "CMakeLists.txt",
        r"VERSION (\d+\.\d+) DESC",
        "packaging/*.metainfo.xml",
        r'release version="([\d.]+)"',
    ),
    ("CMakeLists.txt", r"Qt5 (\d+\.\d+)", "debian/control", r"qtbase5-dev \(>= ([\d.]+)\)"),
    ("CMakeLists.txt", r"VERSION (\d+\.\d+)\)", "debian/control", r" cmake \(>= ([\d.]+)\)"),
    ("scripts/soak", r"fuzz parser (\d+)", "docs/reliability.md", r"\| ([\d,]+) inputs"),
)


def check_numbers(_):
    """The numbers in the documents are those of the code."""
    for source, pattern, place, repetition in NUMBERS:
        value = re.search(pattern, read(source))
        repeated = [
            (document, number)
            for document, text in documents(place)
            for number in re.findall(repetition, text)[:1]
        ]
        if not value or not repeated:
            yield f"{source} or {place}: no number is found by {pattern} and {repetition}"
            continue
        for document, number in repeated:
            if number.replace(",", "") != value[1]:
                yield f"{document}: {number} is {value[1]} in {source}"


# What a product's identifiers look like, wherever they have to be known.
PRODUCT_PLACES = {
    "packaging/60-fennix.rules": (
        'ATTR{{idVendor}}=="{0:04x}", ATTR{{idProduct}}=="{1:04x}"',
        'ATTRS{{idVendor}}=="{0:04x}", ATTRS{{idProduct}}=="{1:04x}"',
    ),
    "packaging/com.tarvos.fennix.metainfo.xml": ("<modalias>usb:v{0:04X}p{1:04X}d*<",),
    "packaging/fennix.1": ("{0:04x}:{1:04x}",),
    "debian/fennix.postinst": ("ID_MODEL_ID={1:04x}",),
    "docs/manual/chapters/preparing.adoc": ("lsusb -d {0:04x}:{1:04x}",),
    "docs/manual/chapters/troubleshooting.adoc": ("lsusb -d {0:04x}:{1:04x}",),
    "tools/simulator/mocked_machine.cpp": ('"{0:04x}", "{1:04x}"',),
}


def check_products(_):
    """Every product of the program's table is known wherever it has to be."""
    source = read("src/device_enumerator.cpp")
    values = dict(re.findall(r"constexpr quint16 (\w+) = (0x\w+);", source))
    table = re.search(r"vkProducts\[\] = \{(.*?)\n\};", source, re.DOTALL)[1]
    products = re.findall(r"\{(\w+), (\w+), \S*\w+::\w+\}", table)
    if len(products) != table.count("{") - 1:
        yield "src/device_enumerator.cpp: not every line of vkProducts is understood"
    for names in products:
        identifiers = [int(values[name], 16) for name in names]
        for place, patterns in PRODUCT_PLACES.items():
            for pattern in patterns:
                if pattern.format(*identifiers) not in read(place):
                    yield f"{place} lacks {pattern.format(*identifiers)}"


def program_texts():
    """The program's sources, with literals and the form's characters as they are shown."""
    source = "".join(text for _, text in documents("src/*.cpp", "forms/*.ui"))
    return re.sub(r'"[ \n]+"', "", source).replace("&lt;", "<")


def check_messages(_):
    """The manual's chapter of messages has the program's texts, and each line of its log."""
    program, manual = program_texts(), read("docs/manual/chapters/messages.adoc")
    rows = re.findall(r'\n\|".+', manual)
    lines = re.findall(r'DBG_Printf\([A-Z_]+,\s+"([^"]+)"', program)
    if len(rows) < 20 or len(lines) < 10:
        yield f"found only {len(rows)} texts and {len(lines)} log lines to compare"
    for text in re.findall('"([^"]+)"', "\n".join(rows)):
        if text not in program:
            yield f'the program has no text "{text}"'
    for line in lines:
        pieces = re.split("%[a-z]", line.replace("\\n", ""))
        if any(re.search("[A-Za-z]", piece) and piece not in manual for piece in pieces):
            yield f'the manual lacks the log line "{line}"'


def check_figures(options):
    """Each figure of the manual has a number and is spoken of; each picture is shown."""
    manual = "".join(text for _, text in documents("docs/manual/chapters/*.adoc"))
    images = re.findall(r"\nimage::.+", manual)
    figures = re.findall(r"\n\[#(fig-[a-z-]+)\]\n\..+\nimage::", manual)
    if not figures or len(figures) != len(images):
        yield f"of {len(images)} images, {len(figures)} have an id and a title"
    for figure in figures:
        if f"<<{figure}>>" not in manual:
            yield f"no sentence speaks of {figure}"
    if options.pictures and (options.pictures.exists() or options.require_pictures):
        yield from picture_faults(manual, {path.stem for path in options.pictures.glob("*.png")})


def picture_faults(manual, made):
    """All have one scale, which their widths give them."""
    shown = re.findall(r"image::\{pictures\}/([a-z-]+)\.png\[pdfwidth=\{\1-width\}\]", manual)
    for picture in sorted(made - set(shown)):
        yield f"{picture}.png is made, but not shown in its own width"
    for picture in sorted(set(re.findall(r"image::\{pictures\}/([a-z-]+)\.png", manual)) - made):
        yield f"{picture}.png is shown, but not made"


CHECKS = {
    "paths": check_paths,
    "identifiers": check_identifiers,
    "tests": check_tests,
    "commands": check_commands,
    "options": check_script_options,
    "simulator": check_simulator,
    "numbers": check_numbers,
    "products": check_products,
    "messages": check_messages,
    "figures": check_figures,
}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    built = PROJECT / "build/release/bin"
    parser.add_argument("--programs", type=pathlib.Path, default=built, help="the built tests")
    parser.add_argument("--pictures", type=pathlib.Path, help="the folder of the manual's pictures")
    parser.add_argument("--require-pictures", action="store_true", help="fail where there are none")
    parser.add_argument("checks", nargs="*", help=f"only these of: {', '.join(CHECKS)}")
    options = parser.parse_args()
    names = options.checks or CHECKS
    faults = [f"{name}: {fault}" for name in names for fault in CHECKS[name](options)]
    sys.exit("\n".join(faults) or 0)


if __name__ == "__main__":
    main()
