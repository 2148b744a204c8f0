#!/usr/bin/python3
"""Throughput of trelm's batched queries beside Open3D's RaycastingScene, from Python.

Both libraries get the same mesh and the same points or rays, each in the array form it takes
natively (trelm float64 (n, 3), Open3D float32 tensors), prepared outside the timed region.
Each measurement is the best of --repeat runs of one whole batch, wall clock; the ratio is
trelm's throughput over Open3D's (above 1: trelm is faster). The two answers are compared as
well, so a fast wrong answer does not pass unnoticed.

  PYTHONPATH=build/release/python /usr/bin/python3 python/bench_open3d.py [--points N]

Needs Open3D (Debian: python3-open3d). Measure on a quiet machine: the script prints the load
average and warns above 1.5.
"""

import argparse
import os
import pathlib
import time

import numpy as np

import trelm

try:
    import open3d as o3d
except ImportError:  # pragma: no cover - depends on the machine
    raise SystemExit("Open3D is not installed (apt-get install python3-open3d)")

ROOT = pathlib.Path(__file__).resolve().parents[1]


def bumpy_sphere(rows, columns):
    """A closed latitude-longitude sphere with bumps: 2 * rows * columns triangles."""
    theta = np.linspace(0, np.pi, rows + 1)[1:-1]
    phi = np.linspace(0, 2 * np.pi, columns, endpoint=False)
    t, p = np.meshgrid(theta, phi, indexing="ij")
    r = 1 + 0.08 * np.sin(7 * t) * np.sin(5 * p)
    ring = np.stack([r * np.sin(t) * np.cos(p), r * np.sin(t) * np.sin(p), r * np.cos(t)], -1)
    vertices = np.vstack([[0, 0, 1], ring.reshape(-1, 3), [0, 0, -1]]).astype(np.float32)
    index = 1 + np.arange((rows - 1) * columns).reshape(rows - 1, columns)
    right = np.roll(index, -1, axis=1)
    a, b, c, d = index[:-1], right[:-1], right[1:], index[1:]
    middle = np.concatenate([np.stack([a, d, c], -1).reshape(-1, 3),
                             np.stack([a, c, b], -1).reshape(-1, 3)])
    south = len(vertices) - 1
    top = np.stack([np.zeros(columns, int), index[0], right[0]], -1)
    bottom = np.stack([np.full(columns, south), right[-1], index[-1]], -1)
    return vertices, np.vstack([top, middle, bottom]).astype(np.int32)


def load_bunny():
    mesh = trelm.load(ROOT / "data" / "bunny.ply")
    return np.array(mesh.vertices), np.array(mesh.triangles)


def near_surface_points(vertices, triangles, count, rng, noise):
    ids = rng.integers(0, len(triangles), count)
    w = rng.dirichlet([1, 1, 1], count)
    corners = vertices.astype(np.float64)[triangles[ids]]
    points = (corners * w[:, :, None]).sum(1)
    return points + rng.normal(scale=noise, size=points.shape)


def best_time(function, repeat):
    best = float("inf")
    for _ in range(repeat):
        start = time.perf_counter()
        function()
        best = min(best, time.perf_counter() - start)
    return best


def compare(name, triangles, count, trelm_seconds, open3d_seconds, agreement):
    rate_a, rate_b = count / trelm_seconds, count / open3d_seconds
    print(f"{name:<40} {triangles:>9} {count:>9} {rate_a / 1e6:>9.3f} {rate_b / 1e6:>10.3f} "
          f"{rate_a / rate_b:>6.2f}  {agreement}")


def run_mesh(label, vertices, triangles, count, repeat, rng):
    mesh = trelm.Mesh(vertices, triangles)
    scene = o3d.t.geometry.RaycastingScene()
    scene.add_triangles(o3d.core.Tensor(vertices.astype(np.float32)),
                        o3d.core.Tensor(triangles.astype(np.uint32)))
    low, high = trelm.bounding_box(mesh)
    size = float(np.linalg.norm(high - low))
    closest = trelm.ClosestPoint(mesh)
    caster = trelm.RayCaster(mesh)

    for kind, points in [
        ("closest, near surface", near_surface_points(vertices, triangles, count, rng,
                                                      0.01 * size)),
        ("closest, uniform in box", rng.uniform(low, high, (count, 3))),
    ]:
        tensor = o3d.core.Tensor(points.astype(np.float32))
        ours = best_time(lambda: closest.query(points), repeat)
        theirs = best_time(lambda: scene.compute_closest_points(tensor), repeat)
        distances = closest.query(points)[0]
        found = scene.compute_closest_points(tensor)["points"].numpy()
        other = np.linalg.norm(found - points, axis=1)
        difference = np.abs(distances - other).max() / size
        compare(f"{label}: {kind}", len(triangles), count, ours, theirs,
                f"max |d - d_o3d| / diagonal {difference:.1e}")

    centre = (low + high) / 2
    camera = centre + np.array([0.3, 0.2, 2.0]) * size
    side = int(np.sqrt(count))
    u, v = np.meshgrid(np.linspace(-0.2, 0.2, side), np.linspace(-0.2, 0.2, side))
    forward = (centre - camera) / np.linalg.norm(centre - camera)
    right = np.cross(forward, [0, 1, 0])
    right /= np.linalg.norm(right)
    up = np.cross(right, forward)
    primary = forward + u.reshape(-1, 1) * right + v.reshape(-1, 1) * up
    scattered_origins = rng.uniform(low - 0.5 * size, high + 0.5 * size, (count, 3))
    scattered = rng.uniform(low, high, (count, 3)) - scattered_origins
    for kind, origins, directions in [
        ("rays, one camera", np.broadcast_to(camera, primary.shape), primary),
        ("rays, scattered", scattered_origins, scattered),
    ]:
        origins32 = origins.astype(np.float32).astype(np.float64)
        rays = o3d.core.Tensor(np.hstack([origins, directions]).astype(np.float32))
        ours = best_time(lambda: caster.cast(origins32, directions), repeat)
        theirs = best_time(lambda: scene.cast_rays(rays), repeat)
        t, ids = caster.cast(origins32, directions)
        answer = scene.cast_rays(rays)
        other_ids = answer["primitive_ids"].numpy().astype(np.int64)
        other_ids[other_ids == o3d.t.geometry.RaycastingScene.INVALID_ID] = -1
        same = (ids == other_ids).mean()
        check = f"same triangle for {100 * same:.2f}% of rays"
        if (other_ids < 0).all() and (ids >= 0).any():
            # Some builds of Open3D (Debian's 0.16.1 with the system's Embree) return no hit
            # at all from cast_rays; its time then measures no real work.
            check = f"Open3D found no hit ({100 * (ids >= 0).mean():.1f}% hit): not comparable"
        compare(f"{label}: {kind}", len(triangles), len(origins), ours, theirs, check)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--points", type=int, default=1_000_000, help="queries per batch")
    parser.add_argument("--repeat", type=int, default=3, help="runs per measurement (best kept)")
    parser.add_argument("--seed", type=int, default=1)
    args = parser.parse_args()
    load = os.getloadavg()[0]
    print(f"trelm {trelm.__version__} ({trelm.get_threads()} threads), Open3D "
          f"{o3d.__version__}; load average {load:.2f}")
    if load > 1.5:
        print("warning: the machine is busy; figures are not comparable")
    print(f"{'query':<40} {'triangles':>9} {'queries':>9} {'trelm M/s':>9} "
          f"{'Open3D M/s':>10} {'ratio':>6}  check")
    rng = np.random.default_rng(args.seed)
    run_mesh("bunny", *load_bunny(), args.points, args.repeat, rng)
    run_mesh("bumpy sphere", *bumpy_sphere(400, 800), args.points, args.repeat, rng)


if __name__ == "__main__":
    main()
