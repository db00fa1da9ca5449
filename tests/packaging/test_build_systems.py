"""The Buildroot and OpenWrt descriptions beside what they speak of: a Kconfig reader takes the one's
questions, and both pass options that CMake has and install files that it installs."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest

import kconfiglib

SOURCES = os.environ["QUON_SOURCES"]
BUILD = os.environ["QUON_BUILD"]
CMAKE = os.environ["QUON_CMAKE"]
PACKAGING = os.path.join(SOURCES, "packaging")

TOOLCHAIN = {
    "BR2_INSTALL_LIBSTDCPP": "C++",
    "BR2_TOOLCHAIN_GCC_AT_LEAST_12": "GCC 12",
    "BR2_TOOLCHAIN_HAS_THREADS_NPTL": "NPTL",
}


def text_of(*names):
    with open(os.path.join(SOURCES, *names), encoding="utf-8") as file:
        return file.read()


class TheQuestionsOfBuildroot(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory(prefix="quon-kconfig-")
        top = os.path.join(self.folder.name, "Config.in")
        with open(top, "w", encoding="utf-8") as file:
            file.write('mainmenu "The system"\n')
            for name, words in TOOLCHAIN.items():
                file.write(f'config {name}\n\tbool "{words}"\n')
            file.write('source "$BR2_EXTERNAL_QUON_PATH/Config.in"\n')
        os.environ["BR2_EXTERNAL_QUON_PATH"] = os.path.join(PACKAGING, "buildroot")
        self.questions = kconfiglib.Kconfig(top, warn_to_stderr=False)
        self.package = self.questions.syms["BR2_PACKAGE_QUON_MCU_DAEMON"]
        self.remarks = [each for each in self.questions.node_iter() if each.item == kconfiglib.COMMENT]

    def tearDown(self):
        self.folder.cleanup()

    def allow(self, names):
        for name in TOOLCHAIN:
            self.questions.syms[name].set_value(2 if name in names else 0)

    def test_are_read_without_a_warning(self):
        self.assertEqual(self.questions.warnings, [])
        self.assertEqual(self.package.nodes[0].prompt[0], "quon-mcu-daemon")
        self.assertNotEqual(self.package.nodes[0].help, None)

    def test_offer_the_package_where_the_toolchain_suits_it(self):
        self.allow(TOOLCHAIN)
        self.assertIn(2, self.package.assignable)
        self.package.set_value(2)
        self.assertEqual(self.package.str_value, "y")
        self.assertEqual([kconfiglib.expr_value(each.dep) for each in self.remarks], [0])

    def test_say_what_is_missing_elsewhere(self):
        for missing in TOOLCHAIN:
            with self.subTest(missing):
                self.allow(set(TOOLCHAIN) - {missing})
                self.package.set_value(2)
                self.assertEqual(self.package.str_value, "n")
                self.assertEqual([kconfiglib.expr_value(each.dep) for each in self.remarks], [2])


class BothDescriptions(unittest.TestCase):
    def test_pass_options_that_cmake_has(self):
        known = set(re.findall(r"^option\((\w+) ", text_of("CMakeLists.txt"), re.MULTILINE))
        known.add("BUILD_SHARED_LIBS")
        for names in (
            ("buildroot", "package", "quon-mcu-daemon", "quon-mcu-daemon.mk"),
            ("openwrt", "quon-mcu-daemon", "Makefile"),
        ):
            passed = re.findall(r"-D(\w+)=", text_of("packaging", *names))
            self.assertIn("QUON_TESTS", passed)
            self.assertLessEqual(set(passed), known, names)

    def test_need_the_compiler_that_the_tree_needs(self):
        needed = text_of("packaging", "buildroot", "package", "quon-mcu-daemon", "Config.in")
        self.assertIn("GCC_AT_LEAST_12", needed)
        self.assertIn("GCC 12 or later", text_of("docs", "porting.md"))


class TheOpenWrtPackage(unittest.TestCase):
    def test_takes_its_files_from_where_cmake_installs_them(self):
        with tempfile.TemporaryDirectory(prefix="quon-openwrt-") as folder:
            # For make, a blank in the path of the checkout would end a name.
            shutil.copytree(PACKAGING, os.path.join(folder, "packaging"))
            shutil.copy(os.path.join(SOURCES, "CMakeLists.txt"), folder)
            shutil.copytree(
                os.path.join(SOURCES, "tests", "packaging", "stand_ins", "openwrt"),
                os.path.join(folder, "rules"),
            )
            installed = os.path.join(folder, "installed")
            for component in ("daemon", "small"):
                subprocess.run(
                    [CMAKE, "--install", BUILD, "--prefix", "/usr", "--component", component],
                    env={**os.environ, "DESTDIR": installed}, check=True, capture_output=True,
                )
            subprocess.run(
                ["make", "-s", "-C", os.path.join(folder, "packaging", "openwrt", "quon-mcu-daemon"),
                 "TOPDIR=" + os.path.join(folder, "rules"), "SCRATCH=" + folder,
                 "PKG_INSTALL_DIR=" + installed, "install"],
                check=True, capture_output=True,
            )
            for name in ("quon_mcu_daemon", "quon-mcu-small"):
                with open(os.path.join(folder, "root", "usr", "bin", name), "rb") as packed, open(
                    os.path.join(installed, "usr", "bin", name), "rb"
                ) as made:
                    self.assertEqual(packed.read(), made.read(), name)


if __name__ == "__main__":
    unittest.main()
