"""Many signals at once: DataFrame, Dataset, and plots."""

import unittest

import numpy as np
from qat_fixture import Leaf, QatTest, QatWriter, need, vtio

MODE = {"DataType": "Mode", "EnumLabels": ["Off", "On now"], "EnumValues": [0, 5]}
FIXED = {"FixedPoint": {"Signed": True, "WordLength": 16.0, "FixedExponent": -1.0, "SlopeAdjustmentFactor": 1.0,
                        "Bias": 10.0}}


class TwoTables(QatTest):
    """Signals of two rates, one of them with a repeated time."""

    def setUp(self):
        super().setUp()
        with QatWriter(self.path()) as writer:
            writer.table(0, [0, 1, 2], [
                Leaf("x", [1.5, 2.5, 3.5]), Leaf("m", np.arange(12).reshape(3, 2, 2), "int16"), Leaf("big",
                    [2**62 + 1, 0, 1], "int64"),
                Leaf("c", [1 + 2j, 0, 3], "double.complex"), Leaf("mode", [0, 5, 7], "uint8", **MODE),
                Leaf("q", [0, 1, 2], "int16", **FIXED), Leaf("t", ["", "b", "c"], "text"), Leaf("on", [True, False,
                    True], "logical")])
            writer.table(1, [1, 1, 3], [Leaf("slow", [10, 11, 30]), Leaf("n", [1, 2, 3], "int8"), Leaf("b", [True,
                True, False], "logical"),
                                        Leaf("s", ["x", "", "z"], "text"), Leaf("late", [5], begin=2)])
            writer.describe()
        self.r = self.open()


@need("pandas")
class DataFrames(TwoTables):
    def test_columns_are_those_of_csv(self):
        frame = self.r.dataframe("?", "mode", "big", "on")
        self.assertEqual(list(frame.columns), [
            "x", "m[0][0]", "m[0][1]", "m[1][0]", "m[1][1]", "big", "c.re", "c.im", "mode", "q", "t", "on", "n", "b",
                "s"])
        self.assertEqual(frame.index.name, "time")

    def test_signals_of_one_table(self):
        frame = self.r.dataframe("x", "m", "big", "c", "mode", "q", "t", "on")
        self.same(frame.index, [0, 1, 2])
        self.same(frame["x"], [1.5, 2.5, 3.5])
        self.same(frame["m[1][0]"], [2, 6, 10])
        self.assertEqual(frame["m[1][0]"].dtype, np.int16)
        self.same(frame["big"], [2**62 + 1, 0, 1])
        self.same(frame["c.im"], [2, 0, 0])
        self.assertEqual(frame["mode"].tolist(), ["Off", "On now", "7"])
        self.same(frame["q"], [10, 10.5, 11])
        self.assertEqual(frame["t"].tolist(), ["", "b", "c"])
        self.assertEqual(frame["on"].dtype, bool)

    def test_raw(self):
        frame = self.r.dataframe("mode", "q", raw=True)
        self.same(frame["mode"], [0, 5, 7])
        self.same(frame["q"], [0, 1, 2])

    def test_rows_are_the_times_of_all_and_repeated_times_stay(self):
        frame = self.r.dataframe("x", "slow")
        self.same(frame.index, [0, 1, 1, 2, 3])
        self.same(frame["x"], [1.5, 2.5, np.nan, 3.5, np.nan])
        self.same(frame["slow"], [np.nan, 10, 11, np.nan, 30])

    def test_missing_integers_logicals_and_texts(self):
        frame = self.r.dataframe("x", "n", "b", "s", "big")
        self.assertEqual(frame["n"].isna().tolist(), [True, False, False, True, False])
        self.assertEqual(frame["n"].dropna().tolist(), [1, 2, 3])
        self.assertEqual(str(frame["n"].dtype), "Int8")
        self.assertEqual(str(frame["b"].dtype), "boolean")
        self.assertEqual(frame["big"].dropna().tolist()[0], 2**62 + 1)
        self.assertEqual(frame["s"].fillna("missing").tolist(), ["missing", "x", "", "missing", "z"])

    def test_start_and_stop_are_included(self):
        self.same(self.r.dataframe("x", "slow", start=1, stop=2).index, [1, 1, 2])
        self.assertEqual(len(self.r.dataframe("x", start=50)), 0)

    def test_no_pattern_gives_all_and_a_wrong_one_is_an_error(self):
        self.assertEqual(self.r.dataframe().shape, (5, 17))
        for pattern, message in (("slwo", "no signal is called 'slwo'; did you mean 'slow'"),
                                 ("slwo*", "no signal matches 'slwo*'; did you mean 'slow'"),
                                 ("z*", "no signal matches 'z*'")):
            with self.assertRaises(vtio.SignalNotFoundError) as caught:
                self.r.dataframe(pattern)
            self.assertTrue(str(caught.exception).startswith(message), caught.exception)

    def test_columns_of_all_classes_against_the_signals(self):
        """Neighbours are read together; each column must still be its own."""
        random = np.random.default_rng(2)
        leaves = [Leaf(f"s{i}", random.integers(0, 100, (5, *((2,) * (i % 3)))), ("double", "int8",
            "single")[i % 2 + i % 3 // 2])
                  for i in range(60)]
        results = self.results(*leaves)
        frame = results.dataframe("s*")
        for leaf in leaves:
            columns = [name for name in frame if name == leaf.name or name.startswith(leaf.name + "[")]
            self.same(frame[columns].to_numpy(), leaf.values.reshape(5, -1))
        some = results.dataframe("s?", "s4?")
        for name in ("s3", "s42"):
            self.same(some[name], results[name].values)

    def test_against_a_plain_join(self):
        random = np.random.default_rng(3)
        times = [np.sort(random.integers(0, 12, 15)).astype(float) for _ in range(4)]
        with QatWriter(self.path("many.qat")) as writer:
            for k, time in enumerate(times):
                writer.table(k, time, [Leaf(f"s{k}", random.random(15))])
        results = self.open("many.qat")
        expected = {}
        for k, time in enumerate(times):
            seen = {}
            for when, value in zip(time, results[f"s{k}"].values):
                seen[when] = seen.get(when, 0) + 1
                expected.setdefault((when, seen[when]), {})[f"s{k}"] = value
        frame = results.dataframe()
        self.assertEqual(frame.index.tolist(), [when for when, _ in sorted(expected)])
        for row, key in enumerate(sorted(expected)):
            for k in range(4):
                self.same(frame[f"s{k}"].iloc[row], expected[key].get(f"s{k}", np.nan))


@need("xarray")
class Datasets(TwoTables):
    def test_variables_over_a_common_time(self):
        data = self.r.xarray("x", "m", "slow", "mode", "c")
        self.same(data["time"], [0, 1, 1, 2, 3])
        self.assertEqual(data["time"].attrs["units"], "s")
        self.assertEqual(data["x"].attrs["units"], "m")
        self.same(data["x"], [1.5, 2.5, np.nan, 3.5, np.nan])
        self.assertEqual(data["m"].dims, ("time", "m[0]", "m[1]"))
        self.same(data["m"][3], [[8, 9], [10, 11]])
        self.same(data["c"][0], 1 + 2j)

    def test_what_is_complete_keeps_its_type(self):
        data = self.r.xarray("m", "on", "t", "big")
        self.assertEqual([str(data[name].dtype) for name in ("m", "on", "t", "big")], ["int16", "bool", "object",
            "int64"])

    def test_enumerations_are_numbers_with_flags(self):
        mode = self.r.xarray("mode")["mode"]
        self.same(mode, [0, 5, 7])
        self.same(mode.attrs["flag_values"], [0, 5])
        self.assertEqual(mode.attrs["flag_meanings"], "Off On_now")

    def test_fixed_point_is_real_and_texts_that_lack_are_none(self):
        data = self.r.xarray("q", "s", start=0, stop=1)
        self.same(data["q"].dropna("time"), [10, 10.5])
        self.assertEqual(data["s"].values.tolist(), [None, "x", ""])

    def test_signal_called_time(self):
        data = self.results(Leaf("time", [7.0, 8.0])).xarray()
        self.same(data["time"], [7, 8])


@need("matplotlib")
class Plots(TwoTables):
    def setUp(self):
        super().setUp()
        import matplotlib

        matplotlib.use("Agg")
        import matplotlib.pyplot as plt

        self.addCleanup(plt.close, "all")
        self.ax = plt.figure().add_subplot()

    def test_linear_signal_is_a_line_with_its_unit(self):
        self.assertIs(self.r["x"].plot(), self.ax)
        line, = self.ax.lines
        self.same(line.get_ydata(), [1.5, 2.5, 3.5])
        self.same(line.get_xdata(), [0, 1, 2])
        self.assertEqual(line.get_drawstyle(), "default")
        self.assertEqual((self.ax.get_xlabel(), self.ax.get_ylabel()), ("time [s]", "x [m]"))

    def test_held_signal_is_stairs(self):
        self.results(Leaf("z", [1, 2], unit="", Interpolation="zoh"))["z"].plot(self.ax, color="red")
        self.assertEqual(self.ax.lines[0].get_drawstyle(), "steps-post")
        self.assertEqual(self.ax.lines[0].get_color(), "red")
        self.assertEqual(self.ax.get_ylabel(), "z")

    def test_elements_and_parts_are_lines_of_their_own(self):
        self.r["m"].plot(self.ax)
        self.assertEqual([line.get_label() for line in self.ax.lines], ["m[0][0]", "m[0][1]", "m[1][0]", "m[1][1]"])
        self.assertIsNotNone(self.ax.get_legend())
        self.r["c"].plot(self.ax)
        self.assertEqual([line.get_label() for line in self.ax.lines][4:], ["c.re", "c.im"])

    def labels(self):
        return [label.get_text() for label in self.ax.get_yticklabels()]

    def test_labels_on_the_axis(self):
        self.r["mode"].plot(self.ax)
        self.assertEqual(self.labels(), ["Off", "On now"])
        self.same(self.ax.lines[0].get_ydata(), [0, 5, 7])
        self.assertEqual(self.ax.lines[0].get_drawstyle(), "steps-post")

    def test_texts_and_logicals(self):
        self.r["on"].plot(self.ax)
        self.assertEqual(self.labels(), ["false", "true"])
        self.r["t"].plot(self.ax)
        self.assertEqual(self.labels(), ["", "b", "c"])
        self.same(self.ax.lines[1].get_ydata(), [0, 1, 2])

    def test_no_samples(self):
        self.results(Leaf("none", [], "text"))["none"].plot(self.ax)
        self.assertEqual(len(self.ax.lines[0].get_xdata()), 0)


if __name__ == "__main__":
    unittest.main()
