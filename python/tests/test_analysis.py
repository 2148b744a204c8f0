"""Measuring and topology: area, box, normals, curvature, adjacency, boundaries, components."""

import numpy as np
import pytest

import trelm
from conftest import corners, grid, icosphere, triangle_normals


def test_area_equals_numpy_sum_of_cross_products(bunny_arrays):
    vertices, triangles = bunny_arrays
    a, b, c = corners(vertices, triangles)
    expected = 0.5 * np.linalg.norm(np.cross(b - a, c - a), axis=1).sum()
    mesh = trelm.Mesh(vertices, triangles)
    assert trelm.area(mesh) == pytest.approx(expected, rel=1e-6)
    placement = np.array([[2, 0, 0], [0, 2, 0], [0, 0, 2], [5, 6, 7]], float)
    assert trelm.area(mesh, matrix=placement) == pytest.approx(4 * expected, rel=1e-6)
    uv_mesh = mesh.with_uvs(vertices[:, :2] * 3)
    projected = 0.5 * np.abs(np.cross((b - a)[:, :2], (c - a)[:, :2])).sum()
    assert trelm.area(uv_mesh, "uvs") == pytest.approx(9 * projected, rel=1e-5)
    with pytest.raises(ValueError, match="no UVs"):
        trelm.area(mesh, "uvs")
    with pytest.raises(ValueError, match="channel"):
        trelm.area(mesh, "normals")
    with pytest.raises(ValueError, match="row-vector form"):
        column_vector = [[1, 0, 0, 5], [0, 1, 0, 6], [0, 0, 1, 7], [0, 0, 0, 1]]
        trelm.area(mesh, matrix=column_vector)
    assert trelm.area(trelm.Mesh([], [])) == 0.0


def test_bounding_box_covers_unused_vertices_and_is_empty_without_any(bunny_arrays):
    vertices, triangles = bunny_arrays
    extra = np.vstack([vertices, [[100, -100, 0]]])
    low, high = trelm.bounding_box(trelm.Mesh(extra, triangles))
    np.testing.assert_array_equal(low, extra.min(0))
    np.testing.assert_array_equal(high, extra.max(0))
    low, high = trelm.bounding_box(trelm.Mesh([], []))
    assert (low > high).all()


def test_normals_equal_numpy_unit_cross_products(bunny_arrays):
    vertices, triangles = bunny_arrays
    mesh = trelm.Mesh(vertices, triangles)
    per_triangle = triangle_normals(vertices, triangles)
    np.testing.assert_allclose(trelm.compute_normals(mesh, per="triangle"), per_triangle, atol=1e-6)
    summed = np.zeros((len(vertices), 3))
    for k in range(3):
        np.add.at(summed, triangles[:, k], per_triangle)
    expected = summed / np.linalg.norm(summed, axis=1, keepdims=True)
    np.testing.assert_allclose(trelm.compute_normals(mesh), expected, atol=1e-5)
    np.testing.assert_array_equal(mesh.with_normals().normals, trelm.compute_normals(mesh))
    assert mesh.normals is None  # the input mesh is unchanged
    lonely = trelm.Mesh(np.vstack([vertices, [[9, 9, 9]]]), triangles)
    np.testing.assert_array_equal(trelm.compute_normals(lonely)[-1], [0, 0, 0])
    with pytest.raises(ValueError, match="per must be"):
        trelm.compute_normals(mesh, per="corner")


@pytest.mark.parametrize("radius", [1.0, 2.5])
def test_curvature_of_a_sphere_is_one_over_radius(radius):
    mesh = trelm.Mesh(*icosphere(4, radius))
    mean = trelm.curvature(mesh, "mean")
    gaussian = trelm.curvature(mesh, "gaussian")
    np.testing.assert_allclose(mean, 1 / radius, rtol=0.02)
    np.testing.assert_allclose(gaussian, 1 / radius**2, rtol=0.05)
    np.testing.assert_allclose(trelm.curvature(mesh, "max"), 1 / radius, rtol=0.25)
    # Normals pointing inward flip the sign of the mean curvature only.
    inward = mesh.with_normals(-trelm.compute_normals(mesh))
    np.testing.assert_allclose(trelm.curvature(inward, "mean"), -mean, rtol=1e-6)
    flat = trelm.Mesh(*grid(4, 4))
    np.testing.assert_allclose(trelm.curvature(flat, "gaussian"), 0, atol=1e-5)
    with pytest.raises(ValueError, match="kind must be"):
        trelm.curvature(mesh, "total")


def test_adjacency_lists_equal_brute_force(bunny_arrays):
    vertices, triangles = bunny_arrays
    mesh = trelm.Mesh(vertices, triangles)
    offsets, tris = trelm.adjacency(mesh)
    offsets_v, neighbours = trelm.adjacency(mesh, "vertices")
    assert offsets[-1] == 3 * len(triangles)
    for v in [0, 17, 500, len(vertices) - 1]:
        around = np.nonzero((triangles == v).any(1))[0]
        np.testing.assert_array_equal(tris[offsets[v]:offsets[v + 1]], around)
        expected = set(triangles[around].ravel()) - {v}
        listed = neighbours[offsets_v[v]:offsets_v[v + 1]]
        assert len(listed) == len(expected) and set(listed) == expected


def test_boundary_loops_and_components_of_grids():
    vertices, triangles = grid(3, 2)
    loops = trelm.boundary_loops(trelm.Mesh(vertices, triangles))
    assert len(loops) == 1
    loop = loops[0]
    assert len(loop) == 10 and sorted(loop) == sorted(set(range(12)) - {5, 6})
    # Consecutive loop vertices are grid neighbours: each step is one unit edge.
    steps = np.linalg.norm(np.diff(vertices[np.r_[loop, loop[:1]]], axis=0), axis=1)
    np.testing.assert_allclose(steps, 1)
    assert trelm.boundary_loops(trelm.Mesh(*icosphere(1))) == []
    # Two grids side by side that share no vertex, and one unused vertex.
    both = np.vstack([vertices, vertices + [10, 0, 0], [[50, 50, 50]]])
    count, labels = trelm.components(trelm.Mesh(both, np.vstack([triangles, triangles + 12])))
    assert count == 2
    np.testing.assert_array_equal(labels, [0] * 12 + [1] * 12 + [-1])
    assert trelm.components(trelm.Mesh([], []))[0] == 0
