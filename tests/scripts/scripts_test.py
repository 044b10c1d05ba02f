"""Tests what the scripts do before they build anything: help, arguments, and what they install."""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parents[2]
SCRIPTS = PROJECT / "scripts"

# What these print for --help comes from the program that they build and run.
PASS_ON = {"xmlda"}


def run(command, **variables):
    return subprocess.run(command, capture_output=True, text=True, check=False, env={**os.environ, **variables})


def run_bash(text, **variables):
    return run(["bash", "-c", f"set -euo pipefail; source {SCRIPTS}/common.sh; {text}"], **variables)


class Scripts(unittest.TestCase):
    def test_each_says_what_it_does(self):
        scripts = [path for path in SCRIPTS.iterdir() if os.access(path, os.X_OK) and path.name not in PASS_ON]
        self.assertGreater(len(scripts), 8)
        for script in scripts:
            result = run([script, "--help"])
            self.assertEqual(result.returncode, 0, script)
            self.assertIn(f"scripts/{script.name}", result.stdout, script)
            self.assertNotIn("set -euo", result.stdout, script)

    def test_the_tests_refuse_what_is_no_step(self):
        for arguments in (["all"], ["dev", "fuzz"], ["--", "-R", "x"], ["layout", "--", "-R", "x"]):
            result = run([SCRIPTS / "test", *arguments], KX_INSTALL="no")
            self.assertNotEqual(result.returncode, 0, arguments)
            self.assertIn("error: ", result.stderr, arguments)

    def test_the_demo_answers_wrong_arguments_before_it_installs_or_builds(self):
        with tempfile.TemporaryDirectory() as folder:
            # Nothing else can be run: neither apt-get nor cmake.
            pathlib.Path(folder, "dirname").symlink_to(shutil.which("dirname"))
            for arguments, message in ((["--prot", "1"], "unknown argument '--prot'"),
                                       (["--port"], "--port needs a value"),
                                       (["--port", "abc"], "from 0 to 65535, not 'abc'"),
                                       (["--port=70000"], "from 0 to 65535, not '70000'"),
                                       (["--gateway-port=x"], "--gateway-port takes a whole number from 0 to 65535"),
                                       (["--bulk=-1"], "from 0 to 10000000, not '-1'"),
                                       (["--threads", "1"], "from 2 to 1000, not '1'"),
                                       (["--certificate", "/no/such"], "cannot read the file '/no/such'"),
                                       (["--private-key", __file__], "are given together")):
                result = run(["/bin/bash", SCRIPTS / "demo", *arguments], PATH=folder)
                self.assertEqual((result.returncode, result.stdout), (2, ""), arguments)
                self.assertIn(message, result.stderr)


class Packages(unittest.TestCase):
    def test_nothing_is_installed_when_nothing_is_missing(self):
        self.assertEqual(run_bash("run_apt_get() { exit 9; }; install_missing bash:bash base-files:/etc").returncode, 0)

    def test_with_install_no_what_is_missing_is_listed_and_nothing_installed(self):
        result = run_bash("run_apt_get() { echo installing; }; install_missing a:no-such-program bash:bash b:/no/such",
                          KX_INSTALL="no")
        self.assertEqual((result.returncode, result.stdout, result.stderr), (1, "", "missing: a b\n"))

    def test_without_a_network_one_line_says_so(self):
        result = run_bash("run_apt_get() { return 100; }; install_missing a:no-such-program")
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr, "error: apt-get cannot fetch the lists of packages, see above: is there a network?\n")

    def test_a_source_that_does_not_answer_is_no_matter_if_others_have_the_packages(self):
        result = run_bash("""
            run_apt_get() { [[ $* != *update ]]; }
            install_without_services() { echo "$@"; }
            install_missing a:no-such-program b:/no/such""")
        self.assertEqual((result.returncode, result.stdout), (0, "==> Installing with apt: a b\na b\n"), result.stderr)

    def test_services_are_kept_from_starting_while_packages_are_installed(self):
        with tempfile.TemporaryDirectory() as folder:
            policy = pathlib.Path(folder, "policy-rc.d")
            result = run_bash(f"""
                policy_file={policy}
                run_as_root() {{ "$@"; }}
                run_apt_get() {{ echo "$*"; status=0; "$policy_file" || status=$?; echo "policy $status"; }}
                install_without_services nginx-light""")
            self.assertEqual(result.stdout, "install --no-install-recommends nginx-light\npolicy 101\n", result.stderr)
            self.assertFalse(policy.exists())

    def test_a_failed_installation_leaves_no_policy_behind(self):
        with tempfile.TemporaryDirectory() as folder:
            policy = pathlib.Path(folder, "policy-rc.d")
            result = run_bash(f"""
                policy_file={policy}
                run_as_root() {{ "$@"; }}
                run_apt_get() {{ return 100; }}
                install_without_services nginx-light""")
            self.assertEqual(result.returncode, 100)
            self.assertFalse(policy.exists())

    def test_a_policy_that_is_there_stays(self):
        with tempfile.TemporaryDirectory() as folder:
            policy = pathlib.Path(folder, "policy-rc.d")
            policy.write_text("#!/bin/sh\nexit 0\n", encoding="utf-8")
            result = run_bash(f"policy_file={policy}; run_apt_get() {{ :; }}; install_without_services nginx-light")
            self.assertEqual(result.returncode, 0, result.stderr)
            self.assertEqual(policy.read_text(encoding="utf-8"), "#!/bin/sh\nexit 0\n")


class Site(unittest.TestCase):
    def test_lists_the_files_of_a_folder_without_git(self):
        with tempfile.TemporaryDirectory() as folder:
            program = "import make_site; print(*make_site.list_files('examples/minimal'))"
            result = run([sys.executable, "-B", "-c", program], PATH=folder, PYTHONPATH=str(PROJECT / "docs" / "site"))
        self.assertEqual(sorted(result.stdout.split()),
                         ["examples/minimal/CMakeLists.txt", "examples/minimal/main.cpp"], result.stderr)


class SkippedTests(unittest.TestCase):
    REPORT = """<testsuite>
      <testcase name="A.Runs" status="run"><system-out>skipped: not this one</system-out></testcase>
      <testcase name="B.Lacks" status="notrun"><skipped/><system-out>skipped: there is no npm here</system-out></testcase>
      <testcase name="C.Gtest" status="notrun"><system-out>[ RUN ] x
/a/b.cpp:126: Skipped
a reason

</system-out></testcase>
      <testcase name="D.Machine" status="notrun"><system-out>b.cpp:3: Skipped
this machine has no IPv6
</system-out></testcase>
      <testcase name="E.Silent" status="notrun"/>
    </testsuite>"""

    def test_those_for_want_of_a_package_are_listed(self):
        with tempfile.NamedTemporaryFile("w", suffix=".xml") as report:
            report.write(self.REPORT)
            report.flush()
            result = run(["python3", PROJECT / "tests/support/list_skipped.py", report.name])
        self.assertEqual(result.stdout.splitlines(), ["B.Lacks: there is no npm here", "C.Gtest: a reason",
                                                      "E.Silent: no reason given"])


if __name__ == "__main__":
    unittest.main()
