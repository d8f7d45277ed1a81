"""The package against the program, which $ZELOBOX names."""

import os
import subprocess
import sys
import tempfile
import textwrap
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), ".."))

from zelobox import Host, Middleware, ZeloboxError  # noqa: E402


class MiddlewareTest(unittest.TestCase):
    def test_says_what_came_instead_of_what_was_expected(self):
        with Middleware() as box:
            with self.assertRaises(AssertionError) as caught:
                box.expect("IPC_VIDEO_WINDOW", within=0.1, width=640)
        self.assertEqual(
            "the middleware: expected IPC_VIDEO_WINDOW width=640, not within 0.1 s\nnothing came",
            str(caught.exception),
        )

    def test_sends_to_nobody_when_nobody_has_subscribed(self):
        with Middleware() as box:
            self.assertEqual(0, box.send("IPC_VOLUME", value=30))
            self.assertEqual(30, box.state()["volume"])

    def test_hands_on_what_the_program_refuses(self):
        with Middleware() as box:
            with self.assertRaisesRegex(ZeloboxError, "VOLUMEN"):
                box.send("VOLUMEN", value=30)
            with self.assertRaisesRegex(ZeloboxError, "there is no key"):
                box.press("Any")

    def test_leaves_nothing_behind(self):
        with Middleware() as box:
            directory = box.directory
            self.assertTrue(os.path.exists(box.socket))
        self.assertFalse(os.path.exists(directory))

    def test_says_which_program_is_missing(self):
        with self.assertRaisesRegex(ZeloboxError, "/nowhere/zelobox: there is no such program; set ZELOBOX"):
            Middleware(program="/nowhere/zelobox")


class HostTest(unittest.TestCase):
    def test_goes_through_a_life(self):
        with Middleware(config={"language": "de"}) as box, Host(box) as host:
            host.start()
            box.expect_connect()
            box.expect("IPC_CONFIG_STATE", value=2)
            box.press("OK")
            host.expect("key", name="Return", modifier=0)
            box.send("IPC_VOLUME", value=30)
            host.expect("volumeChanged", volume=30, muted=False)
            host.call("video 0 0 640 360")
            box.expect("IPC_VIDEO_WINDOW", width=640, height=360)
            box.expect("IPC_VIDEO_WINDOW_MODE", text="box")
            self.assertEqual(640, box.state()["videoWindow"]["width"])
            host.stop()
            box.expect_disconnect()

    def test_lists_the_callbacks_that_came_instead(self):
        with Middleware() as box, Host(box) as host:
            host.start()
            box.press("Up")
            with self.assertRaises(AssertionError) as caught:
                host.expect("key", name="Down", within=0.5)
        self.assertIn("the host: expected key name='Down', not within 0.5 s\nwhat came instead:\n", str(caught.exception))
        self.assertIn('"name": "Up"', str(caught.exception))

    def test_passes_on_what_a_command_lacks(self):
        with Middleware() as box, Host(box) as host:
            with self.assertRaisesRegex(ZeloboxError, 'vidio: there is no command "vidio"; did you mean'):
                host.call("vidio")

    def test_keeps_the_traffic(self):
        with Middleware() as box, Host(box) as host, tempfile.TemporaryDirectory() as directory:
            host.start()
            names = [record.get("name") for record in box.trace()]
            self.assertIn("IPC_BROWSER_CONFIG", names)
            path = os.path.join(directory, "trace.pcapng")
            box.save(path)
            with open(path, "rb") as file:
                self.assertEqual(b"\x0a\x0d\x0d\x0a", file.read(4))


class PageTest(unittest.TestCase):
    def test_has_an_example_that_passes(self):
        path = os.path.join(os.path.dirname(__file__), "..", "README.md")
        with open(path, encoding="utf-8") as file:
            example = file.read().split("```python\n")[1].split("```")[0]
        self.assertLessEqual(len([line for line in example.splitlines() if line.strip()]), 15)
        names = {}
        exec(example, names)  # pylint: disable=exec-used
        names["test_ok_reaches_the_application"]()


class PluginTest(unittest.TestCase):
    def test_attaches_the_trace_to_a_failure(self):
        test = """
            def test_fails(zelobox_middleware, zelobox_host):
                zelobox_middleware.press("OK")
                zelobox_host.expect("key", name="Return")
                zelobox_host.expect("pause", within=0.1)

            def test_passes(zelobox_middleware, zelobox_host):
                zelobox_middleware.send("IPC_APP_LIFECYCLE", text="onpause")
                zelobox_host.expect("pause")
        """
        with tempfile.TemporaryDirectory() as directory:
            path = os.path.join(directory, "test_box.py")
            with open(path, "w", encoding="utf-8") as file:
                file.write(textwrap.dedent(test))
            package = os.path.abspath(os.path.join(os.path.dirname(__file__), ".."))
            ended = subprocess.run(
                [sys.executable, "-m", "pytest", "-p", "zelobox.pytest_plugin", "-p", "no:cacheprovider", path],
                env={**os.environ, "PYTHONPATH": package},
                capture_output=True,
                text=True,
                check=False,
            )
        self.assertEqual(1, ended.returncode, ended.stdout + ended.stderr)
        self.assertIn("1 failed, 1 passed", ended.stdout)
        self.assertIn("zelobox trace", ended.stdout)
        self.assertIn('"name": "IPC_REMOTE_KEY"', ended.stdout)


if __name__ == "__main__":
    unittest.main()
