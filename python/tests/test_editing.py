"""Editing: weld, duplicates, delete, extract, winding, merge and concatenate; inputs unchanged."""

import numpy as np
import pytest

import trelm
from conftest import grid, icosphere


def soup(vertices, triangles):
    """Every triangle with corners of its own: 3 m vertices, no sharing."""
    return vertices[triangles.ravel()], np.arange(3 * len(triangles)).reshape(-1, 3)


def test_weld_restores_a_triangle_soup(bunny_arrays):
    vertices, triangles = bunny_arrays
    used = np.unique(triangles)
    mesh = trelm.Mesh(*soup(vertices, triangles))
    welded, vertex_map = trelm.weld(mesh)
    assert welded.num_vertices == len(np.unique(vertices[used], axis=0))
    np.testing.assert_array_equal(welded.vertices[vertex_map], mesh.vertices)
    np.testing.assert_array_equal(welded.triangles, vertex_map[mesh.triangles])
    # Sorted by (x, y, z), as the weld numbers its output.
    order = np.lexsort(welded.vertices.T[::-1])
    np.testing.assert_array_equal(order, np.arange(welded.num_vertices))
    assert mesh.num_vertices == 3 * len(triangles)  # the input is untouched


def test_weld_keeps_vertices_with_different_normals_apart_and_carries_uvs():
    vertices, triangles = soup(*grid(1, 1))
    normals = np.zeros((6, 3))
    normals[:, 2] = 1
    normals[3:, 2] = -1  # the second triangle's corners face down
    uvs = np.arange(12).reshape(6, 2)
    welded, vertex_map = trelm.weld(trelm.Mesh(vertices, triangles, normals=normals, uvs=uvs))
    assert welded.num_vertices == 6
    np.testing.assert_array_equal(welded.normals[vertex_map], normals)
    np.testing.assert_array_equal(welded.uvs[vertex_map], uvs)
    welded, vertex_map = trelm.weld(trelm.Mesh(vertices, triangles, uvs=uvs))
    assert welded.num_vertices == 4
    # Of a welded group the highest old index supplies the values.
    for new in range(4):
        assert (welded.uvs[new] == uvs[np.nonzero(vertex_map == new)[0].max()]).all()


def test_weld_carries_every_channel_of_a_loaded_file(tmp_path):
    vertices, triangles = soup(*grid(2, 1))
    colours = np.random.default_rng(2).integers(0, 256, (len(vertices), 3))
    rows = [f"{x} {y} {z} {r} {g} {b}" for (x, y, z), (r, g, b) in zip(vertices, colours)]
    path = tmp_path / "soup.ply"
    path.write_text("\n".join(
        ["ply", "format ascii 1.0", f"element vertex {len(vertices)}", "property float x",
         "property float y", "property float z", "property uchar red", "property uchar green",
         "property uchar blue", f"element face {len(triangles)}",
         "property list uchar int vertex_indices", "end_header", *rows,
         *[f"3 {a} {b} {c}" for a, b, c in triangles]]) + "\n")
    mesh = trelm.load(path)
    assert "Colours" in mesh.channels
    welded, vertex_map = trelm.weld(mesh)
    assert welded.num_vertices == 6
    # Of a welded group the highest old index supplies the colour, as for every channel.
    for new in range(6):
        last = np.nonzero(vertex_map == new)[0].max()
        np.testing.assert_allclose(welded.channel("Colours")[new, :3], colours[last] / 255,
                                   atol=1e-6)
    with pytest.raises(KeyError, match="no channel 'STs'"):
        mesh.channel("STs")


def test_duplicate_and_degenerate_triangles_are_found_and_removed():
    vertices, triangles = grid(2, 1)  # (0 1 4), (1 2 5), (0 4 3), (1 5 4)
    vertices = np.vstack([vertices, vertices[:1]])  # vertex 6 sits on vertex 0
    # 4: triangle 0 wound the other way; 5: a new (flat) triangle; 6: vertex 1 twice;
    # 7: vertices 6 and 0 at one position.
    extra = np.array([[4, 1, 0], [0, 1, 2], [1, 1, 4], [6, 0, 4]])
    all_triangles = np.vstack([triangles, extra])
    mesh = trelm.Mesh(vertices, all_triangles)
    found = trelm.duplicate_triangles(mesh)
    assert list(found.duplicates) == [4]
    assert list(found.index_degenerate) == [6]
    assert list(found.position_degenerate) == [7]
    cleaned = trelm.remove_duplicate_triangles(mesh)
    assert (cleaned.num_vertices, cleaned.num_triangles) == (6, 5)
    np.testing.assert_array_equal(cleaned.vertices[cleaned.triangles],
                                  vertices[all_triangles[[0, 1, 2, 3, 5]]])
    assert mesh.num_triangles == 8


def test_delete_and_extract_agree_with_numpy_indexing(sphere):
    triangles = sphere.triangles
    rng = np.random.default_rng(4)
    mask = rng.random(len(triangles)) < 0.3
    remaining, vertex_map = trelm.delete_triangles(sphere, mask)
    assert remaining.num_triangles == (~mask).sum()
    np.testing.assert_array_equal(remaining.triangles, vertex_map[triangles[~mask]])
    still_used = np.unique(triangles[~mask])
    only_deleted = np.setdiff1d(np.unique(triangles[mask]), still_used)
    assert (vertex_map[only_deleted] == -1).all()
    kept = vertex_map >= 0
    np.testing.assert_array_equal(remaining.vertices[vertex_map[kept]], sphere.vertices[kept])
    same, identity = trelm.delete_triangles(sphere, np.nonzero(mask)[0])
    np.testing.assert_array_equal(same.triangles, remaining.triangles)
    nothing, all_gone = trelm.delete_triangles(sphere, np.ones(len(triangles), bool))
    assert nothing.num_vertices == 0 and (all_gone == -1).all()
    part, vertex_ids = trelm.extract(sphere, [5, 2, 9])
    np.testing.assert_array_equal(part.vertices, sphere.vertices[vertex_ids])
    np.testing.assert_array_equal(vertex_ids[part.triangles], triangles[[5, 2, 9]])
    np.testing.assert_array_equal(vertex_ids, np.unique(triangles[[5, 2, 9]]))
    with pytest.raises(ValueError, match="a mask needs"):
        trelm.delete_triangles(sphere, mask[:-1])
    with pytest.raises(ValueError, match="out of range"):
        trelm.extract(sphere, [len(triangles)])
    with pytest.raises(TypeError, match="integers or booleans"):
        trelm.extract(sphere, [0.5])


def test_extract_appends_corners_missing_from_the_vertex_list():
    mesh = trelm.Mesh(*grid(2, 2))
    part, vertex_ids = trelm.extract(mesh, [0], vertices=[8, 4])
    assert part.num_vertices == len(vertex_ids)
    np.testing.assert_array_equal(vertex_ids[:2], [8, 4])
    np.testing.assert_array_equal(part.vertices, mesh.vertices[vertex_ids])
    np.testing.assert_array_equal(vertex_ids[part.triangles], mesh.triangles[[0]])


def test_reverse_winding_swaps_two_corners_and_flips_normals(sphere):
    with_normals = sphere.with_normals()
    reversed_mesh = trelm.reverse_winding(with_normals)
    np.testing.assert_array_equal(reversed_mesh.triangles, sphere.triangles[:, [1, 0, 2]])
    np.testing.assert_array_equal(reversed_mesh.normals, -with_normals.normals)
    kept = trelm.reverse_winding(with_normals, flip_normals=False)
    np.testing.assert_array_equal(kept.normals, with_normals.normals)


def test_concatenate_places_meshes_and_turns_mirrored_ones():
    vertices, triangles = grid(2, 2)
    mesh = trelm.Mesh(vertices, triangles)
    shift = np.array([[1, 0, 0], [0, 1, 0], [0, 0, 1], [10, 0, 0]], float)
    mirror = np.diag([-1.0, 1, 1, 1])
    joined = trelm.concatenate([mesh, mesh, mesh], [None, shift, mirror])
    n, m = len(vertices), len(triangles)
    assert (joined.num_vertices, joined.num_triangles) == (3 * n, 3 * m)
    homogeneous = np.hstack([vertices, np.ones((n, 1))])
    np.testing.assert_allclose(joined.vertices[n:2 * n], homogeneous @ shift, atol=1e-6)
    np.testing.assert_allclose(joined.vertices[2 * n:], vertices * [-1, 1, 1], atol=1e-6)
    np.testing.assert_array_equal(joined.triangles[m:2 * m], triangles + n)
    # The mirrored copy keeps facing +z: its triangles are turned.
    normals = trelm.compute_normals(joined, per="triangle")
    np.testing.assert_allclose(normals[:, 2], 1, atol=1e-6)
    assert trelm.concatenate([]).num_vertices == 0
    with pytest.raises(ValueError, match="2 matrices for 3 meshes"):
        trelm.concatenate([mesh] * 3, [None, None])


def test_merge_welds_shared_borders_within_tolerance():
    vertices, triangles = grid(2, 2)
    mesh = trelm.Mesh(vertices, triangles)
    right = np.array([[1, 0, 0], [0, 1, 0], [0, 0, 1], [2 + 1e-4, 0, 0]], float)
    merged = trelm.merge([mesh, mesh], [None, right], tolerance=1e-3)
    assert merged.num_vertices == 2 * 9 - 3 and merged.num_triangles == 16
    assert len(trelm.boundary_loops(merged)) == 1
    np.testing.assert_allclose(trelm.area(merged), 8, rtol=1e-4)
    apart = trelm.merge([mesh, mesh], [None, right], tolerance=0.0)
    assert apart.num_vertices == 18
    with pytest.raises(ValueError, match="tolerance must be finite"):
        trelm.merge([mesh], tolerance=-1)
