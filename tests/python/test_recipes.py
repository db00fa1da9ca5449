"""The recipes for CI and containers install what building and running need."""

import os
import re
import unittest

TOP = os.environ["QUON_SOURCES"]


def text_of(file):
    with open(os.path.join(TOP, file), encoding="utf-8") as content:
        return content.read()


def needed(name):
    """The packages that the scripts install."""
    listed = re.search(rf"^{name}=\(([^)]*)\)", text_of("scripts/lib/lib.sh"), re.MULTILINE)
    return set(listed.group(1).split())


def installed(text):
    """The packages of each `apt-get install` in a text."""
    joined = text.replace("\\\n", " ")
    commands = re.findall(r"apt-get install ((?:[-a-z0-9+.]+\s+)+)", joined)
    return [set(each.split()) for each in commands]


class Recipes(unittest.TestCase):
    def test_of_the_container_build_and_then_run(self):
        building, running = installed(text_of("examples/Containerfile"))
        self.assertGreaterEqual(building, needed("build_packages"))
        self.assertGreaterEqual(running, needed("world_packages") | {"python3-pytest"})

    def test_of_ci_do_both(self):
        (both,) = installed(text_of("docs/testing.md"))
        wanted = needed("build_packages") | needed("world_packages") | {"python3-pytest"}
        self.assertGreaterEqual(both, wanted)

    def test_name_files_of_the_tree(self):
        page = text_of("docs/testing.md")
        named = re.findall(r"examples/[A-Za-z_./]+[A-Za-z_]", page)
        self.assertIn("examples/pytest", named)
        for each in named:
            self.assertTrue(os.path.exists(os.path.join(TOP, each)), each)


if __name__ == "__main__":
    unittest.main()
