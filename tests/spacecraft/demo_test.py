"""Runs the three programs of the spacecraft example one after another and reads their files with h5py.

    demo_test.py WRITE_CONFIGURATION SPACECRAFT SHOW_RESULTS
"""

import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import h5py
import numpy as np

WRITE_CONFIGURATION, SPACECRAFT, SHOW_RESULTS = sys.argv[1:4]
STEP = 0.025
STEPS = 2400
SIGNALS = "DATASET_SIGNAL_LOGGING/Dataset/Elements"
OUTPORTS = "DATASET_OUTPORT_LOGGING/Dataset/Elements"


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, timeout=120)


def names(elements):
    """Names of the elements of a dataset, whether it is stored as a table or one by one."""
    if "Name" in elements:
        return [str(name) for name in elements["Name"].asstr()]
    return [elements[str(i)].attrs["Name"] for i in range(len(elements))]


class Structure:
    """A structure of a results file: a group, or a row of a table. Its samples come as arrays."""

    def __init__(self, group, row=None):
        self.group, self.row = group, row

    def __getitem__(self, path):
        value = self
        for name in path.split("/"):
            value = value.field(name)
        return value

    def field(self, name):
        if name.isdigit() and self.group.attrs.get("qat.form") == "table":
            return Structure(self.group, int(name))
        if self.row is None:
            stored = self.group.attrs[name] if name in self.group.attrs else self.group[name]
        else:
            stored = self.group[name]
            if isinstance(stored, h5py.Group):
                if stored.attrs.get("qat.form") == "columns":
                    return Structure(stored, self.row)
                stored = stored[str(self.row)]
            else:
                stored = (stored.asstr() if h5py.check_string_dtype(stored.dtype) else stored)[self.row]
        if isinstance(stored, h5py.Group):
            return Structure(stored)
        if getattr(stored, "dtype", None) is not None and stored.dtype.names == ("table", "column", "part"):
            return Samples(self.group.file, stored).read()
        return stored


class Samples:
    """Where the samples of a leaf are stored."""

    def __init__(self, file, reference):
        self.table = file[f"qat.samples/{reference['table']}"]
        self.record = self.table["columns"][reference["column"]]
        self.is_time = reference["part"] == 1
        self.first = int(self.record["first"])
        self.begin = int(self.record["begin"])

    def read(self):
        rows = slice(self.begin, self.begin + int(self.record["count"]))
        if self.is_time:
            return self.table["Time"][rows]
        values = self.table[self.record["class"].decode()][rows, self.first:self.first + int(self.record["width"])]
        dims = self.record["dims"].decode()
        return values.reshape((len(values), *(int(d) for d in dims.split("x") if d)))


def element(file, name):
    for dataset in (SIGNALS, OUTPORTS):
        found = names(file[dataset])
        if name in found:
            elements, index = file[dataset], found.index(name)
            return Structure(elements, index) if "Name" in elements else Structure(elements[str(index)])
    raise KeyError(name)


def field(structure, name):
    """The value of a field that is no structure."""
    value = (Structure(structure) if isinstance(structure, h5py.Group) else structure)[name]
    return value[()] if isinstance(value, h5py.Dataset) else value


def differences(group, other, path=""):
    """Paths below two groups whose values differ."""
    different = []
    if set(group) != set(other) or set(group.attrs) != set(other.attrs):
        return [path + ": members"]
    for key in group.attrs:
        if not np.array_equal(group.attrs[key], other.attrs[key]):
            different.append(f"{path}@{key}")
    for key in group:
        if isinstance(group[key], h5py.Group):
            different += differences(group[key], other[key], f"{path}/{key}")
        elif not np.array_equal(group[key][()], other[key][()]):
            different.append(f"{path}/{key}")
    return different


class Folder(unittest.TestCase):
    """A folder of its own with a valid configuration."""

    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="spacecraft-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.configuration = self.path("config.qat")
        self.results = self.path("results.qat")
        written = run(WRITE_CONFIGURATION, self.configuration)
        self.assertEqual(written.returncode, 0, written.stderr)

    def path(self, name):
        return os.path.join(self.folder, name)

    def fly(self, *options, out=None, steps=STEPS):
        return run(SPACECRAFT, "--config", self.configuration, "--out", out or self.results,
                   "--step", str(STEP), "--duration", str(STEP * steps), *options)

    def fly_well(self, *options, out=None, steps=STEPS):
        flown = self.fly(*options, out=out, steps=steps)
        self.assertEqual(flown.returncode, 0, flown.stderr)
        self.assertEqual(flown.stderr, "")  # no progress bar into a pipe
        return flown


class Demo(Folder):
    def test_shows_every_signal_and_every_check(self):
        self.fly_well()
        shown = run(SHOW_RESULTS, self.results)
        self.assertEqual(shown.returncode, 0, shown.stdout + shown.stderr)
        for text in ("pointingError", "wheels.bearing.temperature", "thrusterForce_every4th", "valveOpen[5]",
                     "spacecraft/Power System > power/Battery:0", "double complex", "SpacecraftMode enum",
                     "fixed-point u16", "N*m*s", "40 Hz", "4 Hz", "0.4 Hz", "3 x 3", self.results, "h5py.File"):
            self.assertIn(text, shown.stdout)
        self.assertEqual(shown.stdout.count("  ok "), 6, shown.stdout)
        self.assertNotIn("VIOLATED", shown.stdout)

    def test_python_lines_that_are_printed_work(self):
        self.fly_well(steps=100)
        shown = run(SHOW_RESULTS, self.results).stdout
        lines = [line[2:] for line in shown.split("In Python:\n")[1].splitlines()]
        read = run(sys.executable, "-c", "\n".join(lines))
        self.assertEqual(read.returncode, 0, read.stderr)
        self.assertIn("pointingError", read.stdout)

    def test_violated_conservation_is_reported(self):
        self.fly_well(steps=400)
        with h5py.File(self.results, "r+") as file:
            momentum = element(file, "wheels")["Values/momentum"]
            stored = Samples(file, momentum.group.attrs["Data"])
            stored.table["double"][stored.begin + 7, stored.first + 2] += 1e-6
        shown = run(SHOW_RESULTS, self.results)
        self.assertEqual(shown.returncode, 1, shown.stdout + shown.stderr)
        self.assertRegex(shown.stdout, r"VIOLATED +angular momentum")

    def test_results_that_cannot_be_read_exit_2(self):
        missing = run(SHOW_RESULTS, self.results)
        self.assertEqual(missing.returncode, 2)
        self.assertIn(self.results, missing.stderr)
        with open(self.results, "wb") as file:
            file.write(b"no results" * 100)
        damaged = run(SHOW_RESULTS, self.results)
        self.assertEqual(damaged.returncode, 2)
        self.assertIn(self.results, damaged.stderr)

    def test_step_back_leaves_no_trace(self):
        straight = self.path("straight.qat")
        self.assertIn("stepped back", self.fly_well().stdout)
        self.assertNotIn("stepped back", self.fly_well("--no-step-back", out=straight).stdout)
        with h5py.File(self.results) as file, h5py.File(straight) as other:
            self.assertEqual(differences(file, other), [])

    def test_single_step(self):
        self.fly_well(steps=1)
        with h5py.File(self.results) as file:
            np.testing.assert_array_equal(element(file, "pointingError")["Values/Time"], [0.0, STEP])


class Contents(Folder):
    @classmethod
    def setUpClass(cls):
        cls.shared = tempfile.mkdtemp(prefix="spacecraft-")
        cls.addClassCleanup(shutil.rmtree, cls.shared)
        configuration, results = os.path.join(cls.shared, "c.qat"), os.path.join(cls.shared, "r.qat")
        assert run(WRITE_CONFIGURATION, configuration).returncode == 0
        flown = run(SPACECRAFT, "--config", configuration, "--out", results, "--step", str(STEP), "--duration",
                    str(STEP * STEPS))
        assert flown.returncode == 0, flown.stderr
        cls.file = h5py.File(results)
        cls.addClassCleanup(cls.file.close)

    def setUp(self):
        pass

    def leaf(self, path):
        name, _, inner = path.partition("/")
        return element(self.file, name)["Values/" + inner if inner else "Values"]

    def test_datasets(self):
        self.assertEqual(set(self.file), {"DATASET_SIGNAL_LOGGING", "DATASET_OUTPORT_LOGGING", "qat.samples"})
        self.assertEqual(field(self.file["DATASET_SIGNAL_LOGGING"], "DatasetStorageType"), "RamDatasetStorage")
        self.assertEqual(field(self.file["DATASET_SIGNAL_LOGGING/Dataset"], "Name"), "logsout")
        self.assertEqual(field(self.file["DATASET_OUTPORT_LOGGING/Dataset"], "Name"), "yout")
        self.assertEqual(sorted(names(self.file[OUTPORTS])), ["bodyRate", "position"])
        self.assertEqual(sorted(names(self.file[SIGNALS])), [
            "altitude", "attitude", "batteryCharge", "beacon", "busVoltage", "commandedAttitude", "directionCosines",
            "ledger", "mode", "pointingError", "stepCount", "thrusterForce_every4th", "valveOpen", "velocity",
            "wheelCommand", "wheels"])

    def test_three_rates(self):
        for name, period in (("pointingError", 1), ("altitude", 10), ("busVoltage", 100)):
            time = self.leaf(name)["Time"][()]
            np.testing.assert_array_equal(time, np.arange(0, STEPS + 1, period) * STEP)
            self.assertEqual(self.leaf(name)["Data"].shape, time.shape)

    def test_virtual_bus_with_a_structure_in_it(self):
        quaternion = self.leaf("attitude/quaternion")["Data"][()]
        np.testing.assert_allclose(np.linalg.norm(quaternion, axis=1), 1.0, atol=1e-14)
        np.testing.assert_array_equal(self.leaf("attitude/motion/rate")["Data"][()],
                                      self.leaf("bodyRate")["Data"][()])
        self.assertEqual(field(self.leaf("attitude/motion/rate"), "Unit"), "rad/s")
        stars = self.leaf("attitude/tracker/stars")["Data"][()]
        self.assertEqual(stars.dtype, np.uint8)
        self.assertGreater(len(set(stars)), 2)
        accuracy = self.leaf("attitude/tracker/accuracy")["Data"][()]
        rate = np.linalg.norm(self.leaf("bodyRate")["Data"][()], axis=1)
        np.testing.assert_array_equal(accuracy, (2e-5 * (1.0 + 40.0 * rate)).astype(np.float32))

    def test_array_of_four_padded_structures(self):
        momentum = self.leaf("wheels/momentum")["Data"][()]
        speed = self.leaf("wheels/speed")["Data"][()]
        self.assertEqual(momentum.shape, (STEPS // 10 + 1, 4))
        np.testing.assert_array_equal(momentum[0], [0.04, -0.03, 0.05, -0.02])
        friction = self.leaf("wheels/bearing/frictionTorque")["Data"][()]
        np.testing.assert_array_equal(friction, 2.0e-7 * speed)
        torque = self.leaf("wheels/motorTorque")["Data"][()]
        self.assertEqual(torque.dtype, np.float32)
        self.assertLessEqual(np.abs(torque).max(), np.float32(0.02))
        self.assertGreater(np.abs(torque).max(), 0.001)
        self.assertEqual(self.leaf("wheels/saturated")["Data"].dtype, bool)
        temperature = self.leaf("wheels/bearing/temperature")["Data"][()]
        self.assertEqual(temperature.dtype, np.float32)
        self.assertTrue(np.all((temperature > 19.0) & (temperature < 80.0)))

    def test_enumeration(self):
        mode = self.leaf("mode")
        data = mode["Data"][()]
        self.assertEqual(data.dtype, np.int32)
        self.assertEqual(data[0], 1)   # starts tumbling ...
        self.assertEqual(data[-1], 2)  # ... and points in the end
        self.assertEqual([label if isinstance(label, str) else label.decode() for label in field(mode, "EnumLabels")],
                         ["SAFE", "DETUMBLE", "POINT", "UNLOAD"])
        np.testing.assert_array_equal(np.ravel(field(mode, "EnumValues")), [-1, 1, 2, 4])
        self.assertEqual(field(mode, "DataType"), "SpacecraftMode")
        self.assertEqual(field(mode, "Interpolation"), "zoh")

    def test_fixed_point_battery_charge(self):
        charge = self.leaf("batteryCharge")
        self.assertEqual(charge["Data"].dtype, np.uint16)
        scaling = charge["FixedPoint"]
        self.assertEqual(int(field(scaling, "WordLength")), 16)
        self.assertEqual(bool(field(scaling, "Signed")), False)
        slope = field(scaling, "SlopeAdjustmentFactor") * 2.0 ** int(field(scaling, "FixedExponent"))
        first = charge["Data"][0] * slope + field(scaling, "Bias")
        self.assertAlmostEqual(first, 44.0, delta=slope)
        self.assertEqual(field(charge, "Unit"), "W*h")

    def test_complex_signal(self):
        beacon = self.leaf("beacon")["Data"][()]
        self.assertEqual(beacon.shape, (STEPS // 10 + 1, 2))
        self.assertTrue(np.iscomplexobj(beacon))
        np.testing.assert_allclose(np.abs(beacon).sum(axis=1), 1.0, rtol=1e-12)
        self.assertGreater(np.abs(beacon.imag).max(), 0.1)

    def test_ports(self):
        for name, kind, index in (("commandedAttitude", "inport", 0), ("bodyRate", "outport", 0),
                                  ("position", "outport", 1), ("altitude", "", 0), ("velocity", "", 1)):
            self.assertEqual(field(element(self.file, name), "PortKind"), kind, name)
            self.assertEqual(int(field(element(self.file, name), "PortIndex")), index, name)

    def test_logging_selection(self):
        force = element(self.file, "thrusterForce_every4th")
        self.assertEqual(int(field(force, "Decimation")), 4)
        time = force["Values/Time"][()]
        np.testing.assert_array_equal(time, np.arange(0, STEPS + 1, 40) * STEP)
        self.assertNotIn("thrusterTorque", names(self.file[SIGNALS]))

    def test_for_each_members_are_one_element(self):
        valves = element(self.file, "valveOpen")
        np.testing.assert_array_equal(np.ravel(field(valves["ForEach"], "Dimensions")), [3, 2])
        members = [valves["Values"][str(i)]["Data"][()] for i in range(6)]
        np.testing.assert_array_equal([member[0] for member in members], [False, True, True, False, False, True])
        self.assertEqual(len(valves["Values"]["5"]["Time"]), STEPS // 10 + 1)

    def test_limit_keeps_the_newest_points(self):
        command = element(self.file, "wheelCommand")
        self.assertEqual(int(field(command, "MaxPoints")), 1000)
        np.testing.assert_array_equal(command["Values/Time"], np.arange(STEPS - 999, STEPS + 1) * STEP)
        self.assertEqual(command["Values/Data"].shape, (1000, 3))

    def test_matrix_is_the_attitude(self):
        cosines = self.leaf("directionCosines")["Data"][()]
        w, x, y, z = self.leaf("attitude/quaternion")["Data"][()][::100].T
        self.assertEqual(cosines.shape, (STEPS // 100 + 1, 3, 3))
        np.testing.assert_allclose(cosines[:, 0, 1], 2 * (x * y - w * z), atol=1e-13)
        np.testing.assert_allclose(cosines[:, 1, 0], 2 * (x * y + w * z), atol=1e-13)

    def test_block_path_through_a_referenced_model(self):
        path = field(element(self.file, "busVoltage"), "BlockPath")
        self.assertEqual([text if isinstance(text, str) else text.decode() for text in np.ravel(path)],
                         ["spacecraft/Power System", "power/Bus"])


class BadInput(Folder):
    def assert_refused(self, finished, *texts):
        self.assertEqual(finished.returncode, 2, finished.stdout + finished.stderr)
        for text in texts:
            self.assertIn(text, finished.stderr)

    def test_missing_configuration(self):
        os.remove(self.configuration)
        self.assert_refused(self.fly(), "--config", self.configuration)
        self.assertFalse(os.path.exists(self.results))

    def test_configuration_that_is_not_a_qat_file(self):
        with open(self.configuration, "w") as file:
            file.write("signalLogging = on\n")
        self.assert_refused(self.fly(), "--config", self.configuration)

    def test_empty_configuration(self):
        open(self.configuration, "w").close()
        self.assert_refused(self.fly(), "--config", self.configuration)

    def test_cut_configuration(self):
        size = os.path.getsize(self.configuration)
        for kept in (size // 4, size // 2, size - 1):
            with self.subTest(kept=kept):
                run(WRITE_CONFIGURATION, self.configuration)
                os.truncate(self.configuration, kept)
                self.assert_refused(self.fly(steps=10), "--config", self.configuration)

    def test_configuration_without_a_variable(self):
        with h5py.File(self.configuration, "r+") as file:
            del file["outputLogging"]
        self.assert_refused(self.fly(), "--config", "outputLogging")

    def test_malformed_logging_selection(self):
        with h5py.File(self.configuration, "r+") as file:
            del file["loggingSelection"]
            file["loggingSelection"] = 3.0
        self.assert_refused(self.fly(), "--config", "logging selection")

    def test_bad_arguments(self):
        for arguments in (("--step", "0"), ("--step", "fast"), ("--duration", "-3"), ("--duration",), ("--verbose",),
                          ("--out", "")):
            with self.subTest(arguments=arguments):
                self.assert_refused(run(SPACECRAFT, *arguments), *(a for a in arguments if a))

    def test_output_that_cannot_be_written(self):
        nowhere = self.path("no-such-folder/results.qat")
        self.assert_refused(self.fly(out=nowhere), "--out", nowhere)

    def test_tools_without_a_file_name(self):
        self.assert_refused(run(WRITE_CONFIGURATION), "usage")
        self.assert_refused(run(SHOW_RESULTS), "usage")
        refused = run(WRITE_CONFIGURATION, self.path("no-such-folder/config.qat"))
        self.assertEqual(refused.returncode, 1)
        self.assertIn("no-such-folder/config.qat", refused.stderr)

    def test_help(self):
        shown = run(SPACECRAFT, "--help")
        self.assertEqual(shown.returncode, 0)
        self.assertIn("--no-step-back", shown.stdout)

    def test_outports_are_left_out_when_the_configuration_says_so(self):
        with h5py.File(self.configuration, "r+") as file:
            file["outputLogging"][()] = 0.0
        self.fly_well(steps=100)
        with h5py.File(self.results) as file:
            self.assertEqual(set(file), {"DATASET_SIGNAL_LOGGING", "qat.samples"})

    @unittest.skipUnless(os.path.exists("/dev/full"), "needs /dev/full")
    def test_full_disk_is_reported(self):
        flown = self.fly(out="/dev/full", steps=100)
        self.assertNotEqual(flown.returncode, 0)
        self.assertIn("/dev/full", flown.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
