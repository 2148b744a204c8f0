"""Batched queries against brute force: closest points, ray casts, inside tests."""

import numpy as np
import pytest

import trelm
from conftest import brute_closest, brute_rays, corners, icosphere


def points_from(mesh, triangle_ids, weights):
    a, b, c = corners(mesh.vertices, mesh.triangles[triangle_ids])
    return weights[:, :1] * a + weights[:, 1:2] * b + weights[:, 2:] * c


def test_closest_points_equal_brute_force(bunny, threads):
    rng = np.random.default_rng(7)
    low, high = trelm.bounding_box(bunny)
    points = rng.uniform(low - 0.02, high + 0.02, (300, 3))
    distances, ids, weights = trelm.ClosestPoint(bunny).query(points)
    threads("closest", distances, ids, weights)
    np.testing.assert_allclose(distances, brute_closest(bunny.vertices, bunny.triangles, points),
                               rtol=1e-9, atol=1e-12)
    assert (weights >= -1e-12).all() and np.allclose(weights.sum(1), 1)
    nearest = points_from(bunny, ids, weights)
    np.testing.assert_allclose(np.linalg.norm(nearest - points, axis=1), distances, atol=1e-9)


def test_closest_point_batch_of_a_million_points(bunny):
    # Scan-like points: on the surface, then moved off it by noise.
    rng = np.random.default_rng(8)
    a, b, c = corners(bunny.vertices, bunny.triangles)
    ids = rng.integers(0, bunny.num_triangles, 1_000_000)
    w = rng.dirichlet([1, 1, 1], 1_000_000)
    points = w[:, :1] * a[ids] + w[:, 1:2] * b[ids] + w[:, 2:] * c[ids]
    points += rng.normal(scale=0.002, size=points.shape)
    query = trelm.ClosestPoint(bunny)
    distances, ids, weights = query.query(points)
    assert distances.shape == (1_000_000,) and (ids >= 0).all()
    sample = rng.choice(len(points), 100, replace=False)
    np.testing.assert_allclose(distances[sample],
                               brute_closest(bunny.vertices, bunny.triangles, points[sample]),
                               rtol=1e-9, atol=1e-12)
    # The same object answers again, identically.
    np.testing.assert_array_equal(query.query(points[:1000])[0], distances[:1000])


def test_closest_point_edge_cases():
    empty = trelm.ClosestPoint(trelm.Mesh([], []))
    distances, ids, weights = empty.query([[0, 0, 0]])
    assert np.isinf(distances[0]) and ids[0] == -1 and (weights == 0).all()
    query = trelm.ClosestPoint(trelm.Mesh(*icosphere(1)))
    assert [len(a) for a in query.query(np.zeros((0, 3)))] == [0, 0, 0]
    with pytest.raises(ValueError, match="not finite"):
        query.query([[0, np.nan, 0]])
    with pytest.raises(ValueError, match=r"points must have shape \(n, 3\)"):
        query.query([[0, 0]])


def test_ray_casts_equal_brute_force_singly_and_in_packets(bunny, threads):
    rng = np.random.default_rng(9)
    low, high = trelm.bounding_box(bunny)
    centre = (low + high) / 2
    targets = rng.uniform(low, high, (400, 3))
    # Rays 0..199 each from their own origin (one live lane per packet), 200..399 in packets
    # of four sharing an origin.
    origins = centre + rng.normal(size=(400, 3)) * (high - low)
    origins[200:] = np.repeat(origins[200:300:2], 4, axis=0)[:200]
    origins = origins.astype(np.float32).astype(np.float64)
    directions = targets - origins
    caster = trelm.RayCaster(bunny)
    t, ids, weights = caster.cast(origins, directions, barycentrics=True)
    threads("rays", t, ids, weights)
    bt, bids = brute_rays(bunny.vertices, bunny.triangles, origins, directions)
    assert (ids >= 0).sum() > 200
    same = ids == bids
    assert same.mean() > 0.98  # packets run in float32: rare ties along shared edges differ
    np.testing.assert_allclose(t[same & (ids >= 0)], bt[same & (ids >= 0)], rtol=1e-4)
    assert np.isinf(t[ids < 0]).all()
    hits = ids >= 0
    np.testing.assert_allclose(points_from(bunny, ids[hits], weights[hits]),
                               origins[hits] + t[hits, None] * directions[hits], atol=1e-4)
    # First-hit mode finds a hit exactly where nearest mode does, never nearer.
    t_any, ids_any = caster.cast(origins, directions, nearest=False)
    np.testing.assert_array_equal(ids_any >= 0, hits)
    assert (t_any[hits] >= t[hits] * (1 - 1e-5)).all()


def test_ray_cast_shapes_and_misses():
    caster = trelm.RayCaster(trelm.Mesh(*icosphere(2)))
    t, ids = caster.cast([0, 0, 5], [[0, 0, -1], [0, 0, 1], [0, 0, 0], [0, 1, -5]])
    np.testing.assert_allclose(t[0], 4, rtol=1e-3)
    assert list(ids[1:3]) == [-1, -1] and np.isinf(t[1:3]).all()
    t_inside, _ = caster.cast(np.zeros((5, 3)), [1, 0, 0])
    np.testing.assert_allclose(t_inside, 1, rtol=0.02)
    with pytest.raises(ValueError, match="3 origins for 2 directions"):
        caster.cast(np.zeros((3, 3)), np.ones((2, 3)))
    empty = trelm.RayCaster(trelm.Mesh([], []))
    assert empty.cast([0, 0, 0], [1, 0, 0])[1][0] == -1


def test_inside_classifies_points_of_a_sphere(threads):
    radius = 2.0
    mesh = trelm.Mesh(*icosphere(3, radius))
    rng = np.random.default_rng(10)
    points = rng.uniform(-3, 3, (4000, 3))
    r = np.linalg.norm(points, axis=1)
    clear = np.abs(r - radius) > 0.05  # the facets lie within 0.02 of the true sphere
    codes = trelm.inside(mesh, points[clear])
    threads("inside", codes)
    np.testing.assert_array_equal(codes, np.where(r[clear] < radius, trelm.INSIDE, trelm.OUTSIDE))
    on = mesh.vertices[:10].astype(np.float64) * 1.0001
    assert (trelm.inside(mesh, on, tolerance=0.01) == trelm.ON_SURFACE).all()
    with pytest.raises(ValueError, match="tolerance"):
        trelm.inside(mesh, on, tolerance=-1)
    assert (trelm.inside(trelm.Mesh([], []), [[0, 0, 0]]) == trelm.OUTSIDE).all()


def test_ray_casts_do_not_depend_on_the_mesh_scale(bunny_arrays):
    # The triangle test's parallel bound is absolute: cast naively, a bunny a few millimetres
    # across (edges of 1e-4) would never be hit by unit-length rays.
    vertices, triangles = bunny_arrays
    rng = np.random.default_rng(11)
    directions = rng.normal(size=(1000, 3))
    directions /= np.linalg.norm(directions, axis=1, keepdims=True)
    centre = vertices.mean(0)
    t, ids = trelm.RayCaster(trelm.Mesh(vertices, triangles)).cast(centre, directions)
    assert (ids >= 0).mean() > 0.9
    for scale in [2.0**-12, 2.0**20]:  # exact in floating point: identical answers
        small_t, small_ids = trelm.RayCaster(trelm.Mesh(vertices * scale, triangles)).cast(
            centre * scale, directions)
        np.testing.assert_array_equal(small_ids, ids)
        np.testing.assert_array_equal(small_t / scale, t)
    tiny_t, tiny_ids = trelm.RayCaster(trelm.Mesh(vertices * 1e-3, triangles)).cast(
        centre * 1e-3, directions)
    assert (tiny_ids == ids).mean() > 0.99
    np.testing.assert_allclose(tiny_t * 1e3, t, rtol=1e-5)
