#!/usr/bin/env python3
"""How qmfinfo behaves as a program among others: lists, order, pipes, interrupts, and the shape of its JSON."""

import argparse
import contextlib
import fcntl
import json
import os
import pathlib
import pty
import resource
import shlex
import signal
import struct
import subprocess
import tempfile
import termios
import unittest
from xml.etree import ElementTree

import jsonschema

import media
import peers

SCHEMA = json.loads((pathlib.Path(__file__).parents[2] / "docs/qmfinfo.schema.json").read_text(encoding="utf-8"))
FORMATS = ("avi", "es", "mkv", "broken")
options = argparse.Namespace()


def validator(kind):
    return jsonschema.Draft202012Validator({"$ref": f"#/$defs/{kind}", "$defs": SCHEMA["$defs"]})


class QmfinfoTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.qmfinfo = peers.Qmfinfo(shlex.split(options.qmfinfo))
        cls.files = [media.make(recipe, options.media) for name in FORMATS for recipe in media.recipes_of(name)]

    def start(self, *arguments, **pipes):
        process = subprocess.Popen([*self.qmfinfo.command, *map(str, arguments)], stdout=subprocess.PIPE, **pipes)
        self.addCleanup(process.wait)
        self.addCleanup(process.stdout.close)
        return process

    def paths_shown(self, *arguments, **input_options):
        lines = self.qmfinfo.run("show", "--jsonl", *arguments, **input_options).stdout.splitlines()
        return [json.loads(line)["path"] for line in lines]

    def test_json_keeps_to_the_schema(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)
        queries = ["QMF_QID_VID_STREAM_FORMAT", "QMF_QID_AUD_STREAM_FORMAT", "QMF_QID_TITLE_DURATION", "0x10060A", "0x1"]
        commands = [("showArray", ["show", "--json", *self.files])]
        for path in [*self.files, "missing.mkv"]:
            commands += [("show", ["show", "--jsonl", path]), ("explain", ["explain", "--json", path])]
            commands += [("blocksLine", ["blocks", path]), ("probe", ["probe", path])]
            commands += [("query", ["query", path, qid]) for qid in queries]
            commands.append(("query", ["query", path, queries[2], "--set", "QMF_QID_PLAYLISTS_SET_ALLOW_ORDERED_FLAG=0"]))
        for path in [*self.files[:4], "missing.mkv"]:
            commands.append(("compare", ["compare", "--json", path]))
        for table in ("results", "qids", "modules", "elements", "codecs", "fourccs"):
            commands.append(("tables", ["tables", table, "--json"]))
        for kind, arguments in commands:
            lines = self.qmfinfo.run(*arguments).stdout
            values = [json.loads(lines)] if kind == "showArray" else list(map(json.loads, lines.splitlines()))
            self.assertTrue(values, arguments)
            for value in values:
                error = next(validator(kind).iter_errors(value), None)
                self.assertIsNone(error, arguments)

    def test_lists_folders_and_jobs_keep_their_order(self):
        names = [str(path) for path in self.files] * 30
        for jobs in ("1", "7"):
            lines = "\n".join(names).encode()
            self.assertEqual(self.paths_shown("-j", jobs, "-", input=lines), names)
            self.assertEqual(self.paths_shown("-j", jobs, "-0", "--files-from", "-", input=lines.replace(b"\n", b"\0")), names)
        with tempfile.TemporaryDirectory() as folder:
            for name in ("b/2.MKV", "b/1.avi", "b/notes.txt", "a.aac", "c.srt"):
                pathlib.Path(folder, name).parent.mkdir(exist_ok=True)
                pathlib.Path(folder, name).touch()
            os.symlink("..", os.path.join(folder, "b", "around"))
            wanted = [os.path.join(folder, name) for name in ("a.aac", "b/1.avi", "b/2.MKV", "c.srt")]
            self.assertEqual(self.paths_shown("-r", folder), wanted)
            unreadable = os.open(folder, os.O_RDONLY)
            self.addCleanup(os.close, unreadable)
            for words in (["--files-from", folder], ["-"]):
                done = self.qmfinfo.run("show", "--jsonl", *words, stdin=unreadable)
                self.assertEqual((done.returncode, done.stdout), (1, b""))
                self.assertIn(b": the list cannot be read", done.stderr)

    def test_names_that_are_no_text_are_opened(self):
        with tempfile.TemporaryDirectory() as folder:
            name = os.fsencode(folder) + b"/\xff\xe4.mkv"
            with open(name, "wb") as copy:
                copy.write((pathlib.Path(options.media) / "h264-aac.mkv").read_bytes())
            for extra in ([os.fsdecode(name)], ["-r", folder]):
                done = self.qmfinfo.run("show", "--jsonl", *extra)
                self.assertEqual(done.returncode, 0)
                self.assertEqual(json.loads(done.stdout)["path"], folder + "/\N{REPLACEMENT CHARACTER}\N{REPLACEMENT CHARACTER}.mkv")
            command = os.path.join(folder, "\x1b]0_\x7f\x9b.mkv")
            os.rename(name, command)
            for words, printed in ((["show", command], "stdout"), (["show", command + "-"], "stderr"), (["compare", command], "stdout")):
                text = getattr(self.qmfinfo.run(*words), printed).decode()
                self.assertIn("\N{REPLACEMENT CHARACTER}]0_\N{REPLACEMENT CHARACTER}\N{REPLACEMENT CHARACTER}.mkv", text)

    def test_each_record_comes_before_the_next_path_is_asked_for(self):
        process = self.start("show", "--jsonl", "-", stdin=subprocess.PIPE)
        for path in self.files[:3]:
            process.stdin.write(f"{path}\n".encode())
            process.stdin.flush()
            self.assertEqual(json.loads(process.stdout.readline())["path"], str(path))
        process.stdin.close()
        self.assertEqual(process.wait(timeout=60), 0)

    def test_interrupt_leaves_complete_json(self):
        process = self.start("show", "--json", "-", stdin=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(process.stderr.close)
        process.stdin.write(f"{self.files[0]}\n".encode())
        process.stdin.flush()
        begin = process.stdout.readline() + process.stdout.read1(100)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(timeout=60), 1)  # With standard input still open.
        rest, errors = process.stdout.read(), process.stderr.read()
        process.stdin.close()
        self.assertEqual([entry["path"] for entry in json.loads(begin + rest)], [str(self.files[0])])
        self.assertIn(b"interrupted after 1 file", errors)

    def run_in_terminal(self, columns, *arguments):
        ours, theirs = pty.openpty()
        fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        process = subprocess.Popen([*self.qmfinfo.command, *map(str, arguments)], stdout=theirs, stderr=theirs)
        os.close(theirs)
        text = b""
        with open(ours, "rb", buffering=0) as terminal:
            with contextlib.suppress(OSError):  # How a terminal ends.
                while part := terminal.read(4096):
                    text += part
        process.wait(timeout=60)
        return text.decode().replace("\r\n", "\n")

    def test_lines_keep_to_a_narrow_terminal(self):
        refused = next(path for path in self.files if path.name == "vp9-opus.webm")
        for command, begin in ((["show"], "  Video 0 "), (["explain"], "System.Video.FrameWidth")):
            wide = self.run_in_terminal(300, *command, refused)
            narrow = self.run_in_terminal(44, *command, refused)
            self.assertEqual("".join(narrow.split()), "".join(wide.split()))
            broken = narrow[narrow.index(begin) :].splitlines()[1:3]
            self.assertTrue(all(line.startswith("    ") and len(line) <= 44 for line in broken), narrow)

    def test_a_reader_that_leaves_is_no_error(self):
        process = self.start("show", "--jsonl", *[self.files[0]] * 2000, stderr=subprocess.PIPE)
        self.addCleanup(process.stderr.close)
        process.stdout.readline()
        process.stdout.close()
        self.assertEqual(process.stderr.read(), b"")

    def test_bash_completes_words(self):
        complete = 'source <(qmfinfo completion bash); COMP_WORDS=($0); COMP_CWORD=$1; _qmfinfo; echo "${COMPREPLY[*]}"'
        words = {
            "qmfinfo e": "explain",
            "qmfinfo show --js": "--json --jsonl",
            "qmfinfo query a.mkv QMF_QID_TITLE_D": "QMF_QID_TITLE_DURATION",
        }
        with tempfile.TemporaryDirectory() as folder:
            os.symlink(os.path.abspath(self.qmfinfo.command[0]), os.path.join(folder, "qmfinfo"))
            environment = {**os.environ, "PATH": f"{folder}:{os.environ['PATH']}"}
            for line, completed in words.items():
                done = subprocess.run(
                    ["bash", "-c", complete, line, str(line.count(" "))], capture_output=True, check=True, env=environment
                )
                self.assertEqual(done.stdout.decode().strip(), completed)

    def test_compare_marks_what_a_rule_makes_differ(self):
        path = next(path for path in self.files if path.name == "ntsc-flac96k.mkv")
        found = json.loads(self.qmfinfo.run("compare", "--json", path).stdout)
        for prop in found["properties"]:
            wanted = "rule" if prop["name"] in ("System.Video.FrameRate", "System.Audio.SampleRate") else "same"
            self.assertEqual(prop["peers"]["ffprobe"]["verdict"], wanted)
            self.assertEqual(prop["peers"]["mkvmerge"]["verdict"], wanted)

    def test_tags_are_those_of_mkvextract(self):
        path = next(path for path in self.files if path.name == "h264-aac-mkvmerge.mkv")
        extracted = subprocess.run(["mkvextract", path, "tags", "-"], capture_output=True, check=True).stdout
        wanted = [(e.findtext("Name"), e.findtext("String")) for e in ElementTree.fromstring(extracted).iter("Simple")]
        found = []
        for number in range(len(wanted) + 1):
            chosen = ["--set", f"QMF_QID_TAGS_SET_SIMPLETAGID={number}"]
            texts = [
                json.loads(self.qmfinfo.run("query", path, f"QMF_QID_TAGS_GET_SIMPLETAG_{what}", *chosen).stdout)
                for what in ("NAME", "STRING")
            ]
            if texts[0]["result"] == 0:
                found.append(tuple(text["data"] for text in texts))
        self.assertGreater(len(wanted), 5)
        self.assertEqual(found, wanted)

    def test_log_is_written_only_where_told(self):
        with tempfile.TemporaryDirectory() as folder:
            self.qmfinfo.run("show", self.files[0], cwd=folder)
            self.assertEqual(os.listdir(folder), [])
            chosen = os.path.join(folder, os.fsdecode(b"\xff"))
            os.mkdir(chosen)
            self.qmfinfo.run("show", "--log", chosen, self.files[0])
            self.assertEqual(os.listdir(chosen), ["L1log.txt"])

    def test_says_that_its_output_found_no_room(self):
        for words in (["--help"], ["--version"], ["completion", "bash"], ["tables", "qids"], ["show", str(self.files[0])]):
            with open("/dev/full", "wb") as full:
                done = subprocess.run([*self.qmfinfo.command, *words], stdout=full, stderr=subprocess.PIPE, check=False)
            self.assertEqual((done.returncode, done.stderr), (1, b"qmfinfo: the output could not be written\n"), words)

    def test_jobs_that_find_no_room_are_done_by_the_others(self):
        def limit():  # Room for eleven stacks.
            resource.setrlimit(resource.RLIMIT_STACK, (256 << 20, resource.getrlimit(resource.RLIMIT_STACK)[1]))
            resource.setrlimit(resource.RLIMIT_AS, (3 << 30, 3 << 30))

        def run(*words):
            command = [*self.qmfinfo.command, *map(str, words)]
            return subprocess.run(command, capture_output=True, check=False, timeout=60, preexec_fn=limit)

        if run("--version").returncode != 0:
            self.skipTest("sanitizers need more than all the room there is")
        done = run("show", "--jsonl", "-j", 1024, *self.files[:3])
        self.assertEqual([json.loads(line)["path"] for line in done.stdout.splitlines()], list(map(str, self.files[:3])))


if __name__ == "__main__":
    parser = argparse.ArgumentParser()
    parser.add_argument("--qmfinfo", required=True)
    parser.add_argument("--media", required=True)
    options, rest = parser.parse_known_args(namespace=options)
    unittest.main(argv=[parser.prog, *rest])
