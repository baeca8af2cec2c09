# SPDX-License-Identifier: Apache-2.0
"""How Sphinx writes the documentation."""

import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent

project = "tavix_video_common_cpu"
author = "Tavix Maintainers"
release = re.search(r"VERSION (\d+\.\d+\.\d+)", (ROOT / "CMakeLists.txt").read_text())[1]

extensions = ["myst_parser", "breathe", "sphinx_copybutton"]
myst_enable_extensions = ["colon_fence"]
myst_heading_anchors = 3
breathe_projects = {language: str(ROOT / "build" / "docs" / "doxygen" / language) for language in ("c", "cpp")}
breathe_default_project = "c"
breathe_domain_by_extension = {"h": "c", "hpp": "cpp"}
breathe_domain_by_file_pattern = {"*/interop/*.h": "cpp"}
breathe_implementation_filename_extensions = []
breathe_show_include = False

html_theme = "furo"
html_title = project
html_copy_source = False
html_show_sphinx = False
html_show_copyright = False
html_static_path = ["static"]
html_css_files = ["pages.css"]


BETWEEN_WORDS = re.compile(r"(?<=[a-z0-9])(?=[A-Z])|(?<=_)")


def break_names(_app, _page, _template, context, _doctree):
    """Lets names such as TavixFrameBlurByCPU and tavix_core go on in the next line between words."""
    for part, name in ("toc", r"(?<=>)Tavix\w+(?=<)"), ("body", r"(?<=<h[12]>)[Tt]avix\w+(?=<)"):
        context[part] = re.sub(name, lambda found: BETWEEN_WORDS.sub("<wbr>", found[0]), context.get(part, ""))


def bundle_theme(app, error):
    """Debian's theme takes a module and a style sheet from a web server; pages read from a disk need
    both in the files themselves."""
    if error:
        return
    static = pathlib.Path(app.outdir) / "_static"
    script = static / "scripts" / "furo.js"
    module = (static / "scripts" / "gumshoe-patched.js").read_text()
    script.write_text(script.read_text().replace('import Gumshoe from "./gumshoe-patched.js";', module, 1))
    sheet = static / "styles" / "furo.css"
    normal = pathlib.Path("/usr/share/javascript/normalize.css/normalize.css").read_text()
    sheet.write_text(sheet.read_text().replace("@import url(/javascript/normalize.css/normalize.css);", normal, 1))


def setup(app):
    app.connect("html-page-context", break_names)
    app.connect("build-finished", bundle_theme)
