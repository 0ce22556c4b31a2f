"""The command lines of the two tools, row by row from command_lines.txt (see its header)."""
import json
import os
import shlex
import subprocess
import sys
import unittest

import jsonschema

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(os.path.dirname(HERE))
# UPDATE_GOLDEN=1: the texts compared whole that live in files ("@FILE") are rewritten from the output.
UPDATE = os.environ.get("UPDATE_GOLDEN") == "1"


def expected_text(text):
    if text.startswith("@"):
        with open(os.path.join(HERE, text[1:]), "rb") as f:
            return f.read()
    text = text.replace("@VERSION@", os.environ["VERSION"]).replace("@PROFILE@", os.environ["PROFILE"])
    text = text.replace("\\n", "\n")
    return text.encode()


class CommandLineTest(unittest.TestCase):
    def test_every_row(self):
        with open(os.path.join(SOURCE, "docs", "check.schema.json")) as f:
            schema = json.load(f)
        with open(os.path.join(HERE, "command_lines.txt")) as table:
            rows = [shlex.split(line) for line in table if line.strip() and not line.startswith("#")]
        self.assertGreater(len(rows), 20)
        for tool, status, compared, text, *args in rows:
            with self.subTest(tool=tool, args=args):
                run = self.run_row(tool, args)
                output = run.stdout if compared.startswith("out") else run.stderr
                if UPDATE and compared.endswith("=") and text.startswith("@"):
                    with open(os.path.join(HERE, text[1:]), "wb") as f:
                        f.write(output)
                if compared.endswith("="):
                    self.assertEqual(output, expected_text(text))
                else:
                    self.assertIn(expected_text(text), output)
                if run.stdout.startswith(b"{"):
                    jsonschema.validate(json.loads(run.stdout), schema)
                self.assertEqual(run.returncode, int(status), run.stderr)

    @staticmethod
    def run_row(tool, args):
        """Runs a row's tool with its redirections: a last "<FILE" is the standard input, ">/dev/full"
        and "2>/dev/full" send standard output or error there (the other stream is captured), and an
        argument "<(FILE)" is a pipe that a writer feeds with FILE after the tool has started, as a
        shell's process substitution does."""
        streams = {"stdin": open(os.devnull, "rb"), "stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
        while args and (args[-1] in (">/dev/full", "2>/dev/full") or args[-1][:1] == "<" and args[-1][:2] != "<("):
            last = args.pop()
            if last.startswith("<"):
                streams["stdin"] = open(os.path.join(SOURCE, last[1:]), "rb")
            else:
                streams["stderr" if last.startswith("2") else "stdout"] = open("/dev/full", "wb")
        feed = next(((at, arg[2:-1]) for at, arg in enumerate(args) if arg.startswith("<(")), None)
        read_end, write_end = os.pipe()
        if feed:
            args[feed[0]] = "/dev/fd/%d" % read_end
        program = os.environ["CHECK" if tool == "check" else "SIMULATOR"]
        emulator = shlex.split(os.environ.get("EMULATOR", ""))
        child = subprocess.Popen(emulator + [program] + args, cwd=SOURCE, pass_fds=[read_end], **streams)
        os.close(read_end)
        with os.fdopen(write_end, "wb") as pipe:
            if feed:
                with open(os.path.join(SOURCE, feed[1]), "rb") as given:
                    pipe.write(given.read())
        stdout, stderr = child.communicate(timeout=120)
        for stream in streams.values():
            if stream != subprocess.PIPE:
                stream.close()
        return subprocess.CompletedProcess(args, child.returncode, stdout or b"", stderr or b"")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
