#!/usr/bin/env python3
# SPDX-License-Identifier: BSD-2-Clause
"""What is installed and packaged can be used: install_test.py BUILD CC CXX

The build tree BUILD is installed into an empty prefix, and packed into Debian packages, which are
unpacked into another place. Daemons in C and C++ are built against both and run, and so is netstatd.
"""

import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD, CC, CXX = sys.argv[1:4]
HERE = pathlib.Path(__file__).resolve().parent / "install"
LIBRARIES = ["orvex-dynamic-render", "orvex-platform"]
STRICT = ["-Wall", "-Wextra", "-Wpedantic", "-Werror"]
ANSWERS = {
    "c_daemon": "<host>\n  <load>42</load>\n</host>\n",
    "cpp_daemon": "<fans>\n  <fan>\n    <name>left</name>\n  </fan>\n"
                  "  <fan>\n    <name>right</name>\n  </fan>\n</fans>\n",
}


def run(*command, env=None, cwd=HERE):
    """The output of `command`, which must succeed."""
    result = subprocess.run(command, cwd=cwd, env={**os.environ, **(env or {})}, text=True,
                            capture_output=True, timeout=120, stdin=subprocess.DEVNULL)
    if result.returncode != 0:
        raise AssertionError(f"{command} failed:\n{result.stdout}{result.stderr}")
    return result.stdout


def build_by_pkg_config(libdir, place):
    flags = run("pkg-config", "--cflags", "--libs", *LIBRARIES,
                env={"PKG_CONFIG_PATH": str(libdir / "pkgconfig")}).split()
    run(CC, *STRICT, "-std=c11", "-o", place / "c_daemon", "daemon.c", *flags)
    run(CXX, *STRICT, "-std=c++14", "-o", place / "cpp_daemon", "daemon.cpp", *flags)


def build_by_find_package(libdir, place):
    run("cmake", "-S", HERE, "-B", place, f"-DCMAKE_PREFIX_PATH={libdir.parent}",
        f"-Dorvex-dynamic-render_DIR={libdir / 'cmake/orvex-dynamic-render'}",
        f"-DCMAKE_C_COMPILER={CC}", f"-DCMAKE_CXX_COMPILER={CXX}")
    run("cmake", "--build", place)


class Install(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.place = pathlib.Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.prefix = cls.place / "prefix"
        run("cmake", "--install", BUILD, "--prefix", cls.prefix)
        run("cpack", "-G", "DEB", "-B", cls.place / "packages", cwd=BUILD)
        cls.packages = {file.name.split("_")[0]: file
                        for file in (cls.place / "packages").glob("*.deb")}
        for package in cls.packages.values():
            run("dpkg-deb", "-x", package, cls.place / "unpacked")
        cls.roots = [cls.prefix, cls.place / "unpacked/usr"]

    def libdir(self, root):
        return next(root.rglob("liborvex-platform.so")).parent

    def test_libraries_have_their_links_and_no_path(self):
        for root in self.roots:
            for library in LIBRARIES:
                link = self.libdir(root) / f"lib{library}.so"
                header = run("readelf", "-d", link)
                soname = re.search(r"SONAME.*\[(.*)\]", header).group(1)
                self.assertRegex(soname, rf"^lib{library}\.so\.\d+$")
                self.assertEqual(str(link.readlink()), soname)
                self.assertEqual((link.parent / soname).resolve(), link.resolve())
                self.assertNotRegex(header, "RPATH|RUNPATH")

    def test_daemons_are_built_against_it(self):
        for root in self.roots:
            libdir = self.libdir(root)
            for build in (build_by_pkg_config, build_by_find_package):
                with self.subTest(root=root, build=build), \
                        tempfile.TemporaryDirectory() as place:
                    build(libdir, pathlib.Path(place))
                    answers = {name: run(pathlib.Path(place, name),
                                         env={"LD_LIBRARY_PATH": str(libdir)})
                               for name in ANSWERS}
                    self.assertEqual(answers, ANSWERS)

    def test_netstatd_finds_its_definitions(self):
        prefix, package = (root / "sbin/netstatd" for root in self.roots)
        moved = shutil.copytree(self.prefix, self.place / "moved", symlinks=True) / "sbin/netstatd"
        self.assertNotRegex(run("readelf", "-d", package), "RPATH|RUNPATH")
        for netstatd, libraries in ((prefix, ""), (moved, ""), (package, self.libdir(self.roots[1]))):
            answer = run(netstatd, "--once", "show-interfaces name=lo",
                         env={"LD_LIBRARY_PATH": str(libraries)})
            self.assertIn("<name>lo</name>", answer)

    def test_documents_link_to_what_is_installed(self):
        for root in self.roots:
            documents = list(root.glob("share/doc/**/*.md"))
            self.assertIn("README.md", [document.name for document in documents])
            for document in documents:
                for link in re.findall(r"\]\((?!https?:|#)([^)#]+)", document.read_text()):
                    self.assertTrue((document.parent / link).exists(), f"{document}: {link}")

    @unittest.skipUnless(shutil.which("systemd-analyze"), "no systemd here")
    def test_units_are_valid(self):
        for name, start in (("netstatd", "sbin/netstatd --socket "),
                            ("orvex-netconf", "share/orvex-netconf/sshd_config")):
            unit = self.prefix / f"lib/systemd/system/{name}.service"
            self.assertRegex(unit.read_text(), f"ExecStart=.*{self.prefix}/{start}")
            run("systemd-analyze", "verify", "--man=no", unit)
        configuration = (self.prefix / "share/orvex-netconf/sshd_config").read_text()
        self.assertIn(f"ForceCommand {self.prefix}/sbin/orvex-netconf\n", configuration)

    def fields(self, package):
        return dict(line.split(": ", 1) for line in run(
            "dpkg-deb", "-f", self.packages[package], "Version", "Section", "Depends").splitlines())

    def test_packages_depend_on_what_they_need(self):
        runtime = "liborvex-dynamic-render0"
        fields = self.fields(runtime)
        self.assertEqual(fields["Section"], "libs")
        for needed in ("libc6", "libevent-core", "libjansson4", "libstdc++6"):
            self.assertIn(needed, fields["Depends"])
        for package, section in (("liborvex-dynamic-render-dev", "libdevel"),
                                 ("orvex-dynamic-render-tools", "net")):
            others = self.fields(package)
            self.assertEqual((others["Section"], others["Version"]), (section, fields["Version"]))
            self.assertIn(f"{runtime} (= {fields['Version']})", others["Depends"])
        self.assertIn("libnl-route-3-200", self.fields("orvex-dynamic-render-tools")["Depends"])
        self.assertEqual(len(self.packages), 3)

    def test_packages_are_as_debian_wants_them(self):
        unwanted = ("maintscript-calls-ldconfig,"  # CPack writes those scripts
                    "pkg-config-unavailable-for-cross-compilation")  # this build's prefix
        run("lintian", "--fail-on", "error,warning", "--suppress-tags", unwanted,
            *["--allow-root"] * (os.geteuid() == 0), *self.packages.values())

    def test_each_file_is_in_its_package(self):
        wanted = {
            "liborvex-dynamic-render0": [r"lib\S*/liborvex-[a-z-]*\.so\.\d"],
            "liborvex-dynamic-render-dev": [
                "include/drend.h", "include/orvex_platform/sbuf.h", r"lib\S*/liborvex-platform.so ",
                "share/man/man3/drend.3", r"share/doc/\S*/docs/deferral.md"],
            "orvex-dynamic-render-tools": [
                "sbin/netstatd", "lib/render/show-interfaces.json",
                "lib/systemd/system/netstatd.service", "share/man/man8/netstatd.8"],
        }
        if pathlib.Path(BUILD, "bin/drendctl").exists():
            wanted["orvex-dynamic-render-tools"] += [
                "bin/drendctl", r"share/man/man1/drend-lint\.1", "share/bash-completion/completions/drend-init",
                "sbin/orvex-netconf", "lib/systemd/system/orvex-netconf.service",
                "share/orvex-netconf/yang/orvex-events@2026-11-22.yang",
                "share/orvex-netconf/usr/lib/render/orvex-netconf-state.json"]
        lists = {package: run("dpkg-deb", "-c", file) for package, file in self.packages.items()}
        for package, patterns in wanted.items():
            for pattern in patterns:
                holders = [name for name, files in lists.items()
                           if re.search(rf" \./usr/{pattern}", files)]
                self.assertEqual(holders, [package], pattern)
        self.assertNotRegex("".join(lists.values()), r" \./(?!usr/| |\n)\S")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
