"""Shared meshes and NumPy oracles for the tests of the trelm module.

Meshes are built here in NumPy (grids, an icosphere) or read from the bundled bunny with a
small PLY parser of its own, so no test depends on trelm to make its inputs. The oracles
(triangle areas and normals, nearest points, ray hits) are brute force over all triangles.
"""

import pathlib

import numpy as np
import pytest

import trelm

BUNNY = pathlib.Path(__file__).resolve().parents[2] / "data" / "bunny.ply"


def read_binary_ply(path):
    """Positions and triangles of a binary little-endian PLY with float xyz and int faces."""
    data = path.read_bytes()
    end = data.index(b"end_header\n") + len(b"end_header\n")
    header = data[:end].decode("ascii").split("\n")
    counts = {line.split()[1]: int(line.split()[2])
              for line in header if line.startswith("element")}
    n, m = counts["vertex"], counts["face"]
    vertices = np.frombuffer(data, "<f4", 3 * n, end).reshape(n, 3)
    faces = np.frombuffer(data, [("n", "u1"), ("i", "<i4", 3)], m, end + 12 * n)
    assert (faces["n"] == 3).all()
    return vertices.copy(), faces["i"].copy()


def grid(nx, ny):
    """Quads of a unit grid in z = 0, each split along its (i, j)-(i+1, j+1) diagonal, facing +z.

    (0,ny) .... (nx,ny)
      | /| /|
      |/ |/ |      vertex (i, j) has index j * (nx + 1) + i
    (0,0) ..... (nx,0)
    """
    i, j = np.meshgrid(np.arange(nx + 1), np.arange(ny + 1))
    vertices = np.stack([i.ravel(), j.ravel(), np.zeros(i.size)], axis=1).astype(np.float32)
    a = (np.arange(ny)[:, None] * (nx + 1) + np.arange(nx)[None, :]).ravel()
    b, c, d = a + 1, a + nx + 2, a + nx + 1
    triangles = np.concatenate([np.stack([a, b, c], 1), np.stack([a, c, d], 1)])
    return vertices, triangles.astype(np.int32)


def icosphere(level, radius=1.0):
    """A closed, outward-wound sphere: an icosahedron subdivided `level` times."""
    t = (1 + 5**0.5) / 2
    v = [(-1, t, 0), (1, t, 0), (-1, -t, 0), (1, -t, 0), (0, -1, t), (0, 1, t), (0, -1, -t),
         (0, 1, -t), (t, 0, -1), (t, 0, 1), (-t, 0, -1), (-t, 0, 1)]
    f = [(0, 11, 5), (0, 5, 1), (0, 1, 7), (0, 7, 10), (0, 10, 11), (1, 5, 9), (5, 11, 4),
         (11, 10, 2), (10, 7, 6), (7, 1, 8), (3, 9, 4), (3, 4, 2), (3, 2, 6), (3, 6, 8),
         (3, 8, 9), (4, 9, 5), (2, 4, 11), (6, 2, 10), (8, 6, 7), (9, 8, 1)]
    vertices = [np.array(p, float) / np.linalg.norm(p) for p in v]
    for _ in range(level):
        middle, faces = {}, []

        def mid(a, b):
            key = (min(a, b), max(a, b))
            if key not in middle:
                p = vertices[a] + vertices[b]
                vertices.append(p / np.linalg.norm(p))
                middle[key] = len(vertices) - 1
            return middle[key]

        for a, b, c in f:
            ab, bc, ca = mid(a, b), mid(b, c), mid(c, a)
            faces += [(a, ab, ca), (b, bc, ab), (c, ca, bc), (ab, bc, ca)]
        f = faces
    return (np.array(vertices) * radius).astype(np.float32), np.array(f, np.int32)


@pytest.fixture(scope="session")
def bunny_arrays():
    if not BUNNY.exists():
        pytest.skip("data/bunny.ply is not there")
    return read_binary_ply(BUNNY)


@pytest.fixture(scope="session")
def bunny(bunny_arrays):
    return trelm.Mesh(*bunny_arrays)


@pytest.fixture(scope="session")
def sphere():
    return trelm.Mesh(*icosphere(3))


_first_answers = {}


@pytest.fixture(params=[1, 2, 3, 7])
def threads(request):
    """Runs a test with 1, 2, 3 and 7 pool threads, restoring the count afterwards.

    Yields a check: calling it with a key and arrays keeps the first run's arrays under that
    key and asserts that every later run (another thread count) gives exactly the same values.
    """
    before = trelm.get_threads()
    trelm.set_threads(request.param)

    def same_for_every_thread_count(key, *arrays):
        first = _first_answers.setdefault(key, [np.array(a) for a in arrays])
        for a, b in zip(first, arrays):
            np.testing.assert_array_equal(a, b)

    yield same_for_every_thread_count
    trelm.set_threads(before)


# ---- oracles ----

def corners(vertices, triangles):
    v = np.asarray(vertices, np.float64)
    return v[triangles[:, 0]], v[triangles[:, 1]], v[triangles[:, 2]]


def triangle_normals(vertices, triangles):
    a, b, c = corners(vertices, triangles)
    n = np.cross(b - a, c - a)
    return n / np.linalg.norm(n, axis=1, keepdims=True)


def closest_on_triangles(p, a, b, c):
    """Nearest point of each triangle (a, b, c: (t, 3)) to the point p, region by region."""
    ab, ac, ap = b - a, c - a, p - a
    d1, d2 = (ab * ap).sum(1), (ac * ap).sum(1)
    bp, cp = p - b, p - c
    d3, d4 = (ab * bp).sum(1), (ac * bp).sum(1)
    d5, d6 = (ab * cp).sum(1), (ac * cp).sum(1)
    va, vb, vc = d3 * d6 - d5 * d4, d5 * d2 - d1 * d6, d1 * d4 - d3 * d2
    with np.errstate(divide="ignore", invalid="ignore"):
        denom = 1.0 / (va + vb + vc)
        out = a + ab * (vb * denom)[:, None] + ac * (vc * denom)[:, None]
        rules = [
            ((vc <= 0) & (d1 >= 0) & (d3 <= 0), a + ab * (d1 / (d1 - d3))[:, None]),
            ((vb <= 0) & (d2 >= 0) & (d6 <= 0), a + ac * (d2 / (d2 - d6))[:, None]),
            ((va <= 0) & (d4 - d3 >= 0) & (d5 - d6 >= 0),
             b + (c - b) * ((d4 - d3) / ((d4 - d3) + (d5 - d6)))[:, None]),
            ((d6 >= 0) & (d5 <= d6), c), ((d3 >= 0) & (d4 <= d3), b), ((d1 <= 0) & (d2 <= 0), a),
        ]
    for mask, value in rules:
        out = np.where(mask[:, None], value, out)
    return out


def brute_closest(vertices, triangles, points):
    """Distance from each point to the nearest point over all triangles."""
    a, b, c = corners(vertices, triangles)
    return np.array([np.linalg.norm(closest_on_triangles(p, a, b, c) - p, axis=1).min()
                     for p in np.asarray(points, np.float64)])


def brute_rays(vertices, triangles, origins, directions):
    """Nearest two-sided hit (t > 0) of each ray over all triangles: (t or inf, triangle or -1)."""
    a, b, c = corners(vertices, triangles)
    e1, e2 = b - a, c - a
    ts, ids = [], []
    for o, d in zip(np.asarray(origins, np.float64), np.asarray(directions, np.float64)):
        pvec = np.cross(d, e2)
        det = (e1 * pvec).sum(1)
        with np.errstate(divide="ignore", invalid="ignore"):
            inv = 1.0 / det
            s = o - a
            u = (s * pvec).sum(1) * inv
            q = np.cross(s, e1)
            v = (q * d).sum(1) * inv
            t = (e2 * q).sum(1) * inv
        hit = (np.abs(det) > 1e-6) & (u >= 0) & (v >= 0) & (u + v <= 1) & (t > 1e-6)
        t = np.where(hit, t, np.inf)
        k = int(np.argmin(t))
        ts.append(t[k])
        ids.append(k if np.isfinite(t[k]) else -1)
    return np.array(ts), np.array(ids)
