"""Signals: what they say about themselves, their samples, slices, values between samples."""

import unittest

import numpy as np
from qat_fixture import Leaf, QatTest, QatWriter, vtio

FIXED = {"Signed": True, "WordLength": 16.0, "FixedExponent": -3.0, "SlopeAdjustmentFactor": 1.5, "Bias": 2.0}


class SignalFields(QatTest):
    def test_of_a_double(self):
        signal = self.results(Leaf("x", [1, 2, 3], SampleTime="0.1", StartDate="today"))["x"]
        found = {name: getattr(signal, name) for name in (
            "name", "unit", "dimensions", "type", "is_complex", "interpolation", "enumeration", "fixed_point",
            "dataset",
            "element", "block_path", "port", "port_kind", "decimation", "max_points", "sample_time", "start_date",
            "time_zone", "format")}
        self.assertEqual(found, {
            "name": "x", "unit": "m", "dimensions": (), "type": "double", "is_complex": False,
                "interpolation": "linear",
            "enumeration": None, "fixed_point": None, "dataset": "logsout", "element": "x", "block_path": ["top",
                "sub"],
            "port": 3, "port_kind": "outport", "decimation": 2, "max_points": 0, "sample_time": "0.1",
            "start_date": "today", "time_zone": "", "format": ""})

    def test_without_a_dataset_that_describes_it(self):
        with QatWriter(self.path()) as writer:
            writer.table(0, [0, 1], [Leaf("x", [1, 2])])
        signal = self.open()["x"]
        self.same(signal.values, [1, 2])
        self.assertEqual((signal.unit, signal.interpolation, signal.block_path, signal.dataset), ("m", "", [], ""))

    def test_first_description_of_a_shared_column_holds(self):
        with QatWriter(self.path()) as writer:
            writer.table(0, [0, 1], [Leaf("x", [1, 2])])
            writer.describe(dataset="first")
            writer.describe("OTHER", dataset="second")
        self.assertEqual(self.open()["x"].dataset, "first")

    def test_repr_names_the_signal(self):
        results = self.results(Leaf("m", np.zeros((2, 3, 4))))
        self.assertEqual(repr(results["m"]), "<Signal 'm': 2 samples of double 3x4 in m>")
        self.assertIn("1 signals", repr(results))


class SignalValues(QatTest):
    def test_time_is_seconds_and_values_have_the_sample_first(self):
        values = np.arange(12.0).reshape(2, 2, 3)
        signal = self.results(Leaf("before", [0, 0]), Leaf("m", values), time=[0.5, 0.75])["m"]
        self.same(signal.time, [0.5, 0.75])
        self.assertEqual(signal.time.dtype, np.float64)
        self.same(signal.values, values)
        self.assertEqual(signal.dimensions, (2, 3))

    def test_of_every_class(self):
        classes = {"single": "<f4", "int8": "i1", "uint64": "<u8", "logical": "?", "double.complex": "<c16",
            "single.complex": "<c8"}
        results = self.results(*(Leaf(cls, np.array([0, 1, 1]), cls) for cls in classes))
        for cls, dtype in classes.items():
            with self.subTest(cls):
                self.same(results[cls].values, [0, 1, 1])
                self.assertEqual(results[cls].values.dtype, np.dtype(dtype))
                self.assertEqual(results[cls].is_complex, "complex" in cls)

    def test_texts(self):
        said = ["", "a", "caf\u00e9", "a\ud83d", "a"]
        signal = self.results(Leaf("t", said, "text"), Leaf("x", range(5)))["t"]
        self.assertEqual(signal.values.tolist(), said)
        self.assertEqual(signal[1:3].values.tolist(), ["a", "caf\u00e9"])
        self.assertEqual(signal.type, "text")

    def test_matrices_of_texts(self):
        said = [[["a", "b"], ["", "d"]], [["e", "f"], ["g", "a"]]]
        self.assertEqual(self.results(Leaf("t", said, "text"))["t"].values.tolist(), said)

    def test_leaf_that_starts_later_and_stops_earlier(self):
        signal = self.results(Leaf("all", range(6)), Leaf("some", [7, 8, 9], begin=2))["some"]
        self.same(signal.time, [2, 3, 4])
        self.same(signal.values, [7, 8, 9])

    def test_no_samples_and_no_elements(self):
        results = self.results(Leaf("x", [1, 2]), Leaf("none", []), Leaf("wide", np.zeros((2, 0, 3))))
        self.assertEqual(results["none"].values.shape, (0,))
        self.assertEqual(results["none"].time.shape, (0,))
        self.assertEqual(results["wide"].values.shape, (2, 0, 3))

    def test_enumeration(self):
        described = {"DataType": "Mode", "EnumLabels": ["Off", "On", "Also on"], "EnumValues": [-1, 5, 5]}
        signal = self.results(Leaf("mode", [[5, -1], [0, 5]], "int16", **described))["mode"]
        self.assertEqual(signal.enumeration, {"Off": -1, "On": 5, "Also on": 5})
        self.assertEqual(signal.type, "Mode")
        self.same(signal.values, [[5, -1], [0, 5]])
        self.assertEqual(signal.labels().tolist(), [["On", "Off"], ["0", "On"]])
        self.assertEqual(signal[:0].labels().shape, (0, 2))

    def test_labels_of_another_signal_are_refused_by_name(self):
        with self.assertRaisesRegex(TypeError, "'x' is no enumeration"):
            self.results(Leaf("x", [1]))["x"].labels()

    def test_fixed_point(self):
        signal = self.results(Leaf("q", [-8, 0, 16], "int16", FixedPoint=FIXED))["q"]
        self.same(signal.values, [-8 * 1.5 / 8 + 2, 2, 16 * 1.5 / 8 + 2])
        self.assertEqual(signal.values.dtype, np.float64)
        self.same(signal.raw, [-8, 0, 16])
        self.assertEqual(signal.raw.dtype, np.int16)
        self.assertEqual(signal.fixed_point, vtio.FixedPoint(True, 16, -3, 1.5, 2.0))
        self.assertEqual(signal.fixed_point.slope, 1.5 / 8)

    def test_fixed_point_of_several_words(self):
        scaling = {**FIXED, "WordLength": 128.0, "FixedExponent": 0.0, "SlopeAdjustmentFactor": 1.0, "Bias": 0.0}
        top = 2**64 - 1
        words = np.array([[5, 0], [0, 1], [top, top], [top - 1, top]], "u8")
        results = self.results(Leaf("s", words, "uint64", FixedPoint=scaling),
                               Leaf("u", words, "uint64", FixedPoint={**scaling, "Signed": False}))
        self.same(results["s"].values, [5, 2.0**64, -1, -2])
        self.same(results["u"].values, [5, 2.0**64, 2.0**128, 2.0**128])
        self.assertEqual(results["s"].dimensions, ())
        self.same(results["s"].raw, words)

    def test_file_larger_than_what_is_read(self):
        """A part is read although the whole could not be: most rows have no storage."""
        rows = 1 << 34
        with QatWriter(self.path()) as writer:
            group = writer.table(0, [0.0], [Leaf("x", [1.0])], growing=True)
            del group["rows"]
            for name in ("Time", "double"):
                group[name].resize(rows, 0)
                group[name][rows - 1] = 7
            records = group["columns"][()]
            records["count"] = rows
            group["columns"][...] = records
        signal = self.open()["x"]
        self.same(signal[-2:].values, [0, 7])
        self.same(signal[-1:].time, [7])
        with self.assertRaisesRegex(vtio.QatError, "results.qat: .* bytes are said to stand in .*qat.samples/0/double"):
            signal.values


class SignalSlices(QatTest):
    def setUp(self):
        super().setUp()
        self.signal = self.results(Leaf("pad", range(20)), Leaf("x", range(20, 30), begin=5))["x"]

    def test_equal_slices_of_the_array(self):
        time, values = self.signal.time, self.signal.values
        parts = [slice(None), slice(2, 5), slice(-3, None), slice(None, None, 3), slice(None, None, -1), slice(8, 2,
            -2),
                 slice(5, 5), slice(50, 60), slice(-100, 2), slice(0, 1, -1), slice(3, None, -1)]
        for part in parts:
            with self.subTest(part):
                self.same(self.signal[part].values, values[part])
                self.same(self.signal[part].time, time[part])
                self.assertEqual(len(self.signal[part]), len(values[part]))
                for again in parts:
                    self.same(self.signal[part][again].values, values[part][again])

    def test_numbers_are_refused(self):
        with self.assertRaisesRegex(TypeError, "not by 3"):
            self.signal[3]

    def test_between_includes_both_ends(self):
        self.same(self.signal.between(7, 9).time, [7, 8, 9])
        self.same(self.signal.between(stop=6).time, [5, 6])
        self.same(self.signal.between(13.5).time, [14])
        self.assertEqual(len(self.signal.between(100)), 0)


class SignalAt(QatTest):
    def at(self, time, values, wanted, **leaf):
        return self.results(Leaf("x", values, **leaf), time=time)["x"].at(wanted)

    def test_linear(self):
        self.same(self.at([0, 1, 3], [0, 10, 30], [0, 0.5, 1, 2, 3]), [0, 5, 10, 20, 30])

    def test_zoh_holds(self):
        self.same(self.at([0, 1, 3], [0, 10, 30], [0.99, 1, 2.9, 3], Interpolation="zoh"), [0, 10, 10, 30])

    def test_outside_the_span_is_nan(self):
        self.same(self.at([1, 2], [5, 6], [0.9, 1, 2.1, np.nan, np.inf, -np.inf]), [np.nan, 5] + 4 * [np.nan])
        self.same(self.at([1, 2], [1, 0], [0, 1.5], cls="logical"), [np.nan, 1])
        self.same(self.at([], [], [0.0]), [np.nan])

    def test_scalars_and_shapes(self):
        self.assertEqual(self.at([0, 1], [0, 10], 0.25), 2.5)
        self.assertEqual(self.at([0, 1], np.zeros((2, 2, 3)), np.zeros((4, 5))).shape, (4, 5, 2, 3))

    def test_of_a_repeated_time_the_last_counts_and_a_line_ends_at_the_first(self):
        self.same(self.at([0, 1, 1, 2], [0, 10, 100, 200], [0.5, 1, 1.5]), [5, 100, 150])

    def test_infinite_and_nan_samples_stay_where_they_are(self):
        found = self.at([0, 1, 2, 3], [np.inf, np.inf, np.nan, 1], [0, 0.5, 1, 1.5, 2, 3])
        self.same(found, [np.inf, np.inf, np.inf, np.nan, np.nan, 1])

    def test_enumerations_logicals_and_texts_hold(self):
        self.same(self.at([0, 1], [1, 5], [0.9], cls="int8", EnumLabels=["a"], EnumValues=[1]), [1])
        self.same(self.at([0, 1], [True, False], [0.9], cls="logical"), [1])
        found = self.at([0, 1], ["a", "b"], [0.9, 5], cls="text")
        self.assertEqual(found[0], "a")
        self.assertTrue(np.isnan(found[1]))

    def test_complex_and_fixed_point(self):
        self.same(self.at([0, 1], [0, 2 + 4j], [0.5, 9], cls="double.complex"), [1 + 2j, np.nan])
        self.same(self.at([0, 1], [0, 8], [0.5], cls="int16", FixedPoint=FIXED), [4 * 1.5 / 8 + 2])

    def test_times_that_go_back(self):
        self.same(self.at([0, 2, 1], [0, 20, 10], [0.5, 1.5, 2]), [5, 15, 20])

    def test_against_numpy(self):
        random = np.random.default_rng(1)
        time = np.unique(random.random(200))
        values = random.random(len(time))
        wanted = random.random(500)
        inside = (wanted >= time[0]) & (wanted <= time[-1])
        found = self.at(time, values, wanted)
        np.testing.assert_allclose(found[inside], np.interp(wanted[inside], time, values), rtol=1e-12)
        self.assertTrue(np.isnan(found[~inside]).all())

    def test_of_a_slice(self):
        signal = self.results(Leaf("x", [0, 10, 20, 30]))["x"]
        self.same(signal[1:3].at([0.5, 1.5, 2.5]), [np.nan, 15, np.nan])


if __name__ == "__main__":
    unittest.main()
