#!/usr/bin/python3
# SPDX-License-Identifier: Apache-2.0
"""Puts the sources of the documentation together: the pages of docs/, one reference page for each
public header with examples that have just run, and the plots of the kept benchmark runs.

  assemble.py PREFIX TARGET    PREFIX: where the library is installed; the pages stand in TARGET/docs
"""

import copy
import importlib.machinery
import importlib.util
import pathlib
import re
import shutil
import sys
import xml.etree.ElementTree

import examples

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent
HEADERS = ROOT / "include" / "tavix"
FUNCTION = re.compile(r"^TAVIX_API\s[^;]*?\b(Tavix\w+)\(", re.MULTILINE)
RECORD = re.compile(r"^typedef struct (\w+) \{", re.MULTILINE)
FILE_COMMENT = re.compile(r"\A/\*[^\n]*\*/\n/\*+(.*?)\*/", re.DOTALL)
STATUS = r"(?:<ref [^>]*>)?TAVIX_ERROR_\w+(?:</ref>)?"
ENUMERATION = re.compile(r"^enum (\w+) \{", re.MULTILINE)

OPERATIONS = {
    "arithmetic": "Arithmetic",
    "statistics": "Statistics",
    "softmax": "Softmax",
    "color": "Colour conversion",
    "blob": "Tensors and normalisation",
    "geometry": "Geometry",
    "filters": "Filters",
    "channels": "Channels, masks and fill",
}
CPP = ["frame.hpp", "interop/opencv.h", "interop/ffmpeg.h"]
CORE = {"records": "Records", "codes": "Codes", "services": "Services", "host": "The application's side"}


def prepare(folder):
    """Arranges what Doxygen read for the pages."""
    for file in folder.glob("*.xml"):
        tree = xml.etree.ElementTree.parse(file)
        for entries in tree.iter("parameterlist"):
            split_parameters(entries)
        for section in tree.iter("simplesect"):
            if section.get("kind") == "return":
                list_statuses(section)
        tree.write(file, encoding="utf-8", xml_declaration=True)


def split_parameters(entries):
    """Gives each parameter an entry of its own where Doxygen has one entry for several."""
    for place, item in reversed(list(enumerate(entries))):
        names = item.findall("parameternamelist/parametername")
        for kept in range(len(names) - 1, 0, -1):
            one = copy.deepcopy(item)
            keep_name(one, kept)
            entries.insert(place + 1, one)
        keep_name(item, 0)


def keep_name(item, kept):
    names = item.find("parameternamelist")
    for number, name in enumerate(names.findall("parametername")):
        if number != kept:
            names.remove(name)


def list_statuses(section):
    """Makes a list of the errors of a function where there are several."""
    text = xml.etree.ElementTree.tostring(section.find("para"), encoding="unicode").strip()
    first, *errors = re.split(f"\\s+(?={STATUS})", re.fullmatch("<para>(.*)</para>", text, re.DOTALL)[1])
    if len(errors) < 2:
        return
    items = [re.sub(f"^({STATUS}):?\\s+", r"\1: ", error.rstrip(";, ")) for error in errors]
    section[:] = xml.etree.ElementTree.fromstring(
        f"<simplesect><para>{first}</para><para><itemizedlist>"
        + "".join(f"<listitem><para>{item}</para></listitem>" for item in items)
        + "</itemizedlist></para></simplesect>")


def directive(kind, name, *options):
    return "\n".join([f"```{{{kind}}} {name}", *options, "```", ""])


def example(function, work):
    lines = ["### Example" if function.endswith("ByCPU") else "", "", "```c", examples.program(function).strip(),
             "```", ""]
    if (work / f"{function}.png").exists():
        lines += ["| before | after |", "|---|---|",
                  f"| ![the picture before](../examples/picture.png) "
                  f"| ![the picture after {function}](../examples/{function}.png) |", ""]
    return "\n".join(lines)


def page(title, header, with_examples=None):
    """The page of a header: its enumerations, records and functions, in the order of the header."""
    text = header.read_text()
    about = re.sub(r"^ ?\*(?: |$)|@file$", "", FILE_COMMENT.search(text)[1], flags=re.MULTILINE).strip()
    lines = [f"# {title}", "", about, "", f"`#include <tavix/{header.relative_to(HEADERS)}>`", ""]
    for name in ENUMERATION.findall(text):
        lines += [f"## {name}", "", directive("doxygenenum", name)]
    for name in RECORD.findall(text):
        lines += [f"## {name}", "", directive("doxygenstruct", name, ":members:", ":undoc-members:")]
    for name in FUNCTION.findall(text):
        lines += [f"## {name}", "", directive("doxygenfunction", name)]
        if with_examples:
            lines.append(example(name, with_examples))
    return "\n".join(lines)


def cpp_page():
    """One page for the headers of the C++ layer: what each says about itself, then all members."""
    lines = ["# C++ layer and bridges", ""]
    for name in CPP:
        comment = (HEADERS / name).read_text().split("\n", 1)[1].split("#ifndef", 1)[0]
        about = re.sub(r"^(?:// ?|/\* ?| \*/?(?: |$))", "", comment, flags=re.MULTILINE)
        lines += [f"## tavix/{name}", "", "```text", about.strip("\n"), "```", ""]
    return "\n".join(lines + [
        "## Namespace tavix", "",
        directive("doxygennamespace", "tavix", ":project: cpp", ":members:", ":undoc-members:", ":content-only:"),
        "## FFmpeg in C", "",
        directive("doxygenfile", "tavix/interop/ffmpeg.h", ":project: cpp", ":sections: innerclass public-attrib func")])


def contents(names):
    return "\n".join(["```{toctree}", ":maxdepth: 1", "", *names, "```", ""])


def reference(target, work):
    folder = target / "reference"
    folder.mkdir()
    for stem, title in OPERATIONS.items():
        (folder / f"{stem}.md").write_text(page(title, HEADERS / "video_common_cpu" / f"{stem}.h", work))
    for stem, title in CORE.items():
        (folder / f"{stem}.md").write_text(page(title, HEADERS / "core" / f"{stem}.h"))
    (folder / "cpp.md").write_text(cpp_page())
    (folder / "examples.md").write_text("\n".join([
        "# How the examples work", "",
        "Each example is a whole program. It is compiled and run when these pages are written, and what it",
        "prints is compared with its last comment. The examples share this header, `picture.h`:", "",
        "```c", (examples.EXAMPLES / "picture.h").read_text().split("\n", 1)[1].strip(), "```", ""]))
    (folder / "index.md").write_text("\n".join([
        "# Reference", "",
        "## Operations", "", "One page for each header of `tavix/video_common_cpu.h`:", "", contents(OPERATIONS),
        "## Records and services", "", "What the operations work on, `tavix/core.h`:", "", contents(CORE),
        "## C++", "", "The C++ layer and views of the pictures of other libraries, headers alone:", "",
        contents(["cpp"]),
        "## Examples", "", contents(["examples"])]))


def benchmark_plots(target):
    """One plot for each subject of each kept run, below the tables of the page."""
    path = str(ROOT / "scripts" / "benchmark-ratios")
    loader = importlib.machinery.SourceFileLoader("benchmark_ratios", path)
    ratios = importlib.util.module_from_spec(importlib.util.spec_from_loader("benchmark_ratios", loader))
    loader.exec_module(ratios)
    lines = []
    for run in sorted((ROOT / "docs" / "benchmarks").glob("*.csv")):
        table = ratios.pd.read_csv(run)
        ratios.OUTPUT = target / "benchmarks" / run.stem
        ratios.OUTPUT.mkdir(parents=True)
        lines += ["", f"### {run.with_suffix('.txt').read_text().strip()}", ""]
        for subject, rows in table.groupby("subject", sort=False):
            ratios.plot(rows.dropna(axis="columns", how="all"), subject)
            lines.append(f"![ratios of {subject}](benchmarks/{run.stem}/{subject}.png)")
    if lines:
        with (target / "benchmarks.md").open("a") as file:
            file.write("\n".join(["", "## Plots", *lines, ""]))


def main():
    prefix, copy_of_root = (pathlib.Path(argument).resolve() for argument in sys.argv[1:])
    target = copy_of_root / "docs"
    shutil.rmtree(copy_of_root, ignore_errors=True)
    shutil.copytree(ROOT / "docs", target, ignore=shutil.ignore_patterns("site", "examples", "*.csv", "*.txt"))
    for included in ROOT.glob("*.md"):
        shutil.copy(included, copy_of_root)
    functions = [name for stem in OPERATIONS
                 for name in FUNCTION.findall((HEADERS / "video_common_cpu" / f"{stem}.h").read_text())]
    work = target / "examples"
    examples.run_all(functions, prefix, work)
    for language in ("c", "cpp"):
        prepare(ROOT / "build" / "docs" / "doxygen" / language)
    reference(target, work)
    benchmark_plots(target)
    print(f"{len(functions)} functions with an example that runs")


if __name__ == "__main__":
    main()
