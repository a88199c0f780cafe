// What HDF5 2.0 makes of Qat files.
//
//   node newer_hdf5.mjs read FILE      compares a file of write_every_kind.cpp with what it should hold
//   node newer_hdf5.mjs write FILE     writes a file for this library
import assert from "node:assert/strict";
import h5wasm from "h5wasm/node";

await h5wasm.ready;

function read(name) {
  const file = new h5wasm.File(name, "r");
  const values = (member) => Array.from(file.get(member).value);
  assert.equal(file.attrs["qat.format"].value, "qat");
  assert.equal(file.attrs["qat.version"].value, 2);
  assert.equal(file.get("zz first").value, 3.5);
  assert.deepEqual(values("column"), [1, 2, 3]);
  assert.deepEqual(file.get("matrix").shape, [2, 3]);
  assert.deepEqual(values("matrix"), [1, 2, 3, 4, 5, 6]);
  assert.deepEqual(values("int8"), [-128, 127]);
  assert.deepEqual(values("uint64"), [0n, 2n ** 64n - 1n]);
  assert.deepEqual(values("logicals"), [0, 1, 0]);
  assert.equal(file.get("text").value, "caf\u00e9 \u{1f600}");
  assert.deepEqual(values("text cells"), ["a", "c", "\u00e9", "b", "d", "f"]);
  assert.equal(file.get("structure").attrs["Unit"].value, "m/s\u00b2");
  assert.equal(file.get("structure").attrs["Gain"].value, 2.5);
  assert.equal(file.get("logsout/Elements/Name").value[17], "signal17");
  let objects = 0;
  const visit = (group) => {
    for (const key of group.keys()) {
      const member = group.get(key);
      ++objects;
      assert.notEqual(member, null, key);
      if (member.keys !== undefined) visit(member);
      else assert.notEqual(member.value, undefined, key);
    }
  };
  visit(file);
  assert.ok(objects > 40);
  file.close();
}

function write(name) {
  const file = new h5wasm.File(name, "w", { libver: ["v110", "v110"], track_order: true });
  file.create_attribute("qat.format", "qat");
  file.create_attribute("qat.version", 2, null, "<I");
  const sizes = { data: [0, 1, 2, 3, 4, 5], dtype: "<d" };
  file.create_dataset({ name: "matrix", ...sizes, shape: [2, 3] });
  file.create_dataset({ name: "single", ...sizes, shape: [6], chunks: [6] });
  file.create_dataset({ name: "fixed", ...sizes, shape: [6], chunks: [4] });
  file.create_dataset({ name: "growing", ...sizes, shape: [6], maxshape: [null], chunks: [4] });
  file.create_dataset({ name: "deflated", ...sizes, shape: [6], chunks: [4], compression: 4 });
  file.create_dataset({ name: "text", data: "plain" });
  const structure = file.create_group("structure", true);
  structure.create_attribute("qat.kind", "struct");
  structure.create_attribute("qat.fields", ["Unit", "Data"]);
  structure.create_attribute("Unit", "m");
  structure.create_dataset({ name: "Data", ...sizes, shape: [6] });
  for (let i = 0; i < 40; ++i) file.create_dataset({ name: `many ${i}`, data: [i], dtype: "<i" });
  file.close();
}

const [action, name] = process.argv.slice(2);
({ read, write })[action](name);
