"""Tests of the gate's comparison and of what it reads."""
import json
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).parent))
import callgrind
import gate

RECORDED = {"inbound": {"instructions": 1000.0, "allocations": 2.0}}

DUMP = """desc: Trigger: Client Request: inbound
ob=(1) libs/libzelocobalt.so
fn=(1) receive
+1 30
fi=(3) other.h
12 12
cob=(2) libs/libc.so.6
cfn=(2) malloc
calls=5 0
* 9000
ob=(2)
fn=(2)
7 8
fn=(1)
calls=0 0
3 5000
"""


class Gate(unittest.TestCase):
    def complaints(self, **changes):
        return gate.complaints({"inbound": dict(RECORDED["inbound"], **changes)}, RECORDED)

    def test_accepts_what_is_recorded(self):
        self.assertEqual(self.complaints(), [])

    def test_accepts_two_percent(self):
        self.assertEqual(self.complaints(instructions=1020.0), [])
        self.assertEqual(self.complaints(instructions=980.0), [])

    def test_refuses_more_than_two_percent_in_either_direction(self):
        self.assertIn("+2.1%", self.complaints(instructions=1021.0)[0])
        self.assertIn("-2.1%", self.complaints(instructions=979.0)[0])

    def test_refuses_one_allocation_more(self):
        self.assertEqual(len(self.complaints(allocations=3.0)), 1)

    def test_refuses_a_work_that_is_not_recorded_or_not_measured(self):
        self.assertEqual(gate.complaints({}, RECORDED), ["inbound: not measured"])
        self.assertEqual(gate.complaints(RECORDED, {}), ["inbound: not recorded"])

    def test_has_a_record_of_every_work(self):
        self.assertEqual(set(json.loads(gate.BASELINE.read_text())), {"inbound", "outbound", "lone request"})


class Callgrind(unittest.TestCase):
    def test_counts_what_a_function_does_itself(self):
        with tempfile.TemporaryDirectory() as directory:
            path = pathlib.Path(directory) / "out.1"
            path.write_text(DUMP)
            self.assertEqual(callgrind.parts(pathlib.Path(directory) / "out"), {"inbound": path})
            self.assertEqual(callgrind.self_cost(path), {("libzelocobalt.so", "receive"): 42, ("libc.so.6", "malloc"): 8})

    def test_leaves_the_program_and_its_waiting_out(self):
        cost = {("libzelocobalt.so", "receive"): 500, ("frames_count", "onKey"): 70, ("libc.so.6", "syscall"): 90,
                ("libc.so.6", "malloc"): 300}
        figures = gate.figures({"frames": 10, "allocations": 20}, cost, "frames_count")
        self.assertEqual((figures["instructions"], figures["allocations"]), (80.0, 2.0))
        self.assertEqual(figures["where"], {"the library itself": 50.0, "allocations": 30.0})


if __name__ == "__main__":
    unittest.main()
