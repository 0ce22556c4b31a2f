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
                stdin = os.devnull
                if args and args[-1].startswith("<"):
                    stdin = os.path.join(SOURCE, args.pop()[1:])
                program = os.environ["CHECK" if tool == "check" else "SIMULATOR"]
                emulator = shlex.split(os.environ.get("EMULATOR", ""))
                with open(stdin, "rb") as given:
                    run = subprocess.run(emulator + [program] + args, cwd=SOURCE, stdin=given,
                                         capture_output=True, timeout=120)
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


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
