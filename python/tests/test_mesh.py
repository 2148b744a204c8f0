"""trelm.Mesh: conversion and validation of inputs, read-only views, files, logging, threads."""

import gc
import logging
import threading

import numpy as np
import pytest

import trelm
from conftest import BUNNY, grid, icosphere, read_binary_ply

TETRA_V = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]]
TETRA_T = [[0, 2, 1], [0, 1, 3], [0, 3, 2], [1, 2, 3]]


def test_mesh_views_match_inputs_in_library_dtypes():
    normals = np.arange(12, dtype=np.float64).reshape(4, 3)
    uvs = np.arange(8).reshape(4, 2)
    mesh = trelm.Mesh(TETRA_V, np.array(TETRA_T, np.uint64), normals=normals, uvs=uvs)
    assert (mesh.num_vertices, mesh.num_triangles) == (4, 4)
    assert mesh.vertices.dtype == np.float32 and mesh.triangles.dtype == np.int32
    np.testing.assert_array_equal(mesh.vertices, TETRA_V)
    np.testing.assert_array_equal(mesh.triangles, TETRA_T)
    np.testing.assert_array_equal(mesh.normals, normals)
    np.testing.assert_array_equal(mesh.uvs, uvs)
    assert mesh.channels == ["Normals", "UVs", "Vertices"]
    plain = trelm.Mesh(TETRA_V, TETRA_T)
    assert plain.normals is None and plain.uvs is None and plain.channels == ["Vertices"]
    empty = trelm.Mesh([], [])
    assert empty.vertices.shape == (0, 3) and empty.triangles.shape == (0, 3)


def test_views_are_read_only_and_outlive_the_mesh():
    mesh = trelm.Mesh(*icosphere(1))
    vertices, triangles = mesh.vertices, mesh.triangles
    expected = vertices.copy()
    with pytest.raises(ValueError):
        triangles[0, 0] = 10**6  # would send every later call out of bounds
    with pytest.raises(ValueError):
        vertices[0] = 0
    del mesh
    gc.collect()
    np.testing.assert_array_equal(vertices, expected)
    # An edit builds a new mesh: views of the old one keep their values.
    mesh = trelm.Mesh(*icosphere(1))
    before = mesh.vertices
    trelm.reverse_winding(mesh)
    trelm.weld(mesh)
    np.testing.assert_array_equal(before, expected)


@pytest.mark.parametrize("arguments, error, text", [
    (([[0, 0]], []), ValueError, "vertices must have shape (n, 3)"),
    ((TETRA_V, [[0, 1, 2, 3]]), ValueError, "triangles must have shape (n, 3)"),
    ((TETRA_V, [[0.0, 1.0, 2.0]]), TypeError, "triangles must hold integers"),
    ((TETRA_V, [[0, 1, 4]]), ValueError, "index 4 out of range [0, 4) (row 0)"),
    ((TETRA_V, [[0, 1, 2], [0, -1, 2]]), ValueError, "index -1 out of range [0, 4) (row 1)"),
    (([[0, 0, np.nan]], []), ValueError, "vertices: value nan"),
    (([[0, 0, np.inf]], []), ValueError, "is not finite"),
    (([["a", "b", "c"]], []), TypeError, "vertices must hold real numbers"),
    ((None, []), TypeError, "vertices must be an array"),
    ((np.ones((2, 3), bool), []), TypeError, "dtype bool"),
])
def test_bad_mesh_input_names_the_fault(arguments, error, text):
    with pytest.raises(error) as caught:
        trelm.Mesh(*arguments)
    assert text in str(caught.value)


def test_bad_channel_rows_are_refused():
    with pytest.raises(ValueError, match="normals: 3 rows for 4 vertices"):
        trelm.Mesh(TETRA_V, TETRA_T, normals=np.zeros((3, 3)))
    with pytest.raises(ValueError, match=r"uvs must have shape \(n, 2\)"):
        trelm.Mesh(TETRA_V, TETRA_T, uvs=np.zeros((4, 3)))
    mesh = trelm.Mesh(TETRA_V, TETRA_T)
    with pytest.raises(ValueError, match="uvs: 2 rows"):
        mesh.with_uvs(np.zeros((2, 2)))
    np.testing.assert_array_equal(mesh.with_uvs(np.ones((4, 2))).uvs, np.ones((4, 2)))


def test_load_reads_the_bunny_as_the_numpy_parser_does(bunny_arrays, tmp_path):
    vertices, triangles = bunny_arrays
    mesh = trelm.load(str(BUNNY))
    np.testing.assert_array_equal(mesh.vertices, vertices)
    np.testing.assert_array_equal(mesh.triangles, triangles)
    for name in ["copy.ply", "copy.obj", "copy.off", "copy.trelm"]:
        mesh.save(tmp_path / name)
        again = trelm.load(tmp_path / name)
        np.testing.assert_array_equal(again.vertices, vertices)
        np.testing.assert_array_equal(again.triangles, triangles)
    mesh.save(tmp_path / "ascii.mesh", binary=False, format="ply")
    np.testing.assert_array_equal(trelm.load(tmp_path / "ascii.mesh", format="ply").triangles,
                                  triangles)
    assert read_binary_ply(tmp_path / "copy.ply")[1].shape == triangles.shape


def test_file_errors_raise_with_one_line(tmp_path):
    with pytest.raises(FileNotFoundError, match="no such file"):
        trelm.load(tmp_path / "missing.ply")
    with pytest.raises(ValueError, match="unknown mesh file extension"):
        trelm.load(tmp_path / "mesh.xyz")
    with pytest.raises(ValueError, match="unknown mesh format 'dxf'"):
        trelm.Mesh(TETRA_V, TETRA_T).save(tmp_path / "a.ply", format="dxf")
    broken = tmp_path / "broken.off"
    broken.write_text("OFF\n3 1 0\n0 0 0\n1 0 0\n0 1 0\n3 0 1 7\n")
    with pytest.raises(ValueError, match="broken.off") as caught:
        trelm.load(broken)
    assert "\n" not in str(caught.value)
    with pytest.raises(OSError):
        trelm.Mesh(TETRA_V, TETRA_T).save(tmp_path / "no" / "dir.ply")
    assert not (tmp_path / "no").exists()


def test_debug_lines_reach_logging_only_when_enabled(caplog):
    mesh = trelm.Mesh(*grid(2, 2))
    with caplog.at_level(logging.DEBUG, logger="trelm.debug"):
        trelm.bounding_box(mesh)
        assert not caplog.records
        trelm.enable_debug_logging()
        try:
            trelm.bounding_box(mesh)
        finally:
            trelm.enable_debug_logging(False)
        trelm.bounding_box(mesh)
    lines = [r.getMessage() for r in caplog.records]
    assert len(lines) == 1 and lines[0].startswith("meshBoundingBox: 9 vertices")


def test_threads_are_settable_and_calls_run_side_by_side(sphere):
    before = trelm.get_threads()
    for bad in [0, -1, 257]:
        with pytest.raises(ValueError, match="set_threads"):
            trelm.set_threads(bad)
    assert trelm.get_threads() == before
    points = np.random.default_rng(1).uniform(-2, 2, (20000, 3))
    expected = trelm.ClosestPoint(sphere).query(points)[0]
    results = [None] * 4

    def work(k):
        # A debug line from a pool thread needs the GIL: the call must have released it.
        results[k] = trelm.ClosestPoint(sphere).query(points)[0]
        trelm.bounding_box(sphere)

    trelm.enable_debug_logging()
    try:
        workers = [threading.Thread(target=work, args=(k,)) for k in range(4)]
        for w in workers:
            w.start()
        trelm.set_threads(3)  # waits for running calls; must not deadlock
        for w in workers:
            w.join(30)
        assert not any(w.is_alive() for w in workers)
    finally:
        trelm.enable_debug_logging(False)
        trelm.set_threads(before)
    for r in results:
        np.testing.assert_array_equal(r, expected)


def test_stubs_and_docstrings_cover_every_public_name():
    import ast
    import pathlib

    stub = ast.parse((pathlib.Path(__file__).parents[1] / "trelm.pyi").read_text())
    stubbed = {node.name for node in stub.body if isinstance(node, (ast.FunctionDef, ast.ClassDef))}
    stubbed |= {t.id for node in stub.body if isinstance(node, ast.AnnAssign)
                for t in [node.target]}
    public = {name for name in dir(trelm) if not name.startswith("_")}
    assert public - stubbed == set()
    undocumented = []

    def documented(item):
        text = (getattr(item, "__doc__", "") or "").strip()
        if callable(item) and text.startswith(getattr(item, "__name__", "?") + "("):
            text = text.partition("\n")[2].strip()  # drop the generated signature line
        return bool(text)

    for name in public:
        item = getattr(trelm, name)
        if callable(item) and not documented(item):
            undocumented.append(name)
        if isinstance(item, type) and item.__module__ == "trelm":
            undocumented += [f"{name}.{member}" for member, value in vars(item).items()
                             if not member.startswith("_") and not documented(value)]
    assert undocumented == []
