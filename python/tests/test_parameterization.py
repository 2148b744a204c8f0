"""flatten (with progress and cancellation) and pack."""

import numpy as np
import pytest

import trelm
from conftest import corners, grid, icosphere


def signed_uv_areas(mesh):
    a, b, c = corners(np.c_[mesh.uvs, np.zeros(mesh.num_vertices)], mesh.triangles)
    return np.cross(b - a, c - a)[:, 2] / 2


def tilted_grid():
    vertices, triangles = grid(8, 5)
    angle = 0.7
    rotation = np.array([[1, 0, 0], [0, np.cos(angle), np.sin(angle)],
                         [0, -np.sin(angle), np.cos(angle)]])
    return trelm.Mesh(vertices @ rotation + [3, -2, 1], triangles)


def test_flatten_maps_a_flat_grid_by_a_similarity():
    mesh = tilted_grid()
    flat = trelm.flatten(mesh)
    assert mesh.uvs is None and flat.uvs.shape == (mesh.num_vertices, 2)
    uvs = flat.uvs
    assert uvs.min() >= -1e-6 and uvs.max() <= 1 + 1e-6
    assert max(np.ptp(uvs[:, 0]), np.ptp(uvs[:, 1])) == pytest.approx(1, abs=1e-5)
    # A conformal map of a plane is a similarity: every edge scaled alike, no triangle flipped.
    edges = np.vstack([mesh.triangles[:, [k, (k + 1) % 3]] for k in range(3)])
    scale = (np.linalg.norm(np.subtract(*uvs[edges.T]), axis=1) /
             np.linalg.norm(np.subtract(*mesh.vertices[edges.T]), axis=1))
    np.testing.assert_allclose(scale, scale.mean(), rtol=1e-3)
    areas = signed_uv_areas(flat)
    assert (areas > 0).all() or (areas < 0).all()


def test_flatten_reports_progress_and_cancels():
    mesh = trelm.Mesh(*grid(20, 20))
    seen = []
    trelm.flatten(mesh, progress=lambda f, caption: seen.append((f, caption)))
    fractions = [f for f, _ in seen]
    assert fractions and all(0 <= f <= 1 for f in fractions)
    assert fractions == sorted(fractions)
    assert "Solving" in {caption for _, caption in seen}
    with pytest.raises(trelm.CancelledError):
        trelm.flatten(mesh, progress=lambda f, caption: caption != "Solving")

    def stop(fraction, caption):
        raise KeyError("stop here")

    with pytest.raises(KeyError, match="stop here"):
        trelm.flatten(mesh, progress=stop)
    assert mesh.uvs is None
    with pytest.raises(TypeError, match="callable"):
        trelm.flatten(mesh, progress=3)


def test_flatten_of_closed_meshes_needs_cutting():
    sphere = trelm.Mesh(*icosphere(2))
    with pytest.raises(ValueError, match="mesh not flattened"):
        trelm.flatten(sphere, cut=False)
    cut = trelm.flatten(sphere)
    assert cut.uvs.min() >= -1e-6 and cut.uvs.max() <= 1 + 1e-6


def overlaps(a, b):
    return (a[0] < b[2] - 1e-9 and b[0] < a[2] - 1e-9 and a[1] < b[3] - 1e-9
            and b[1] < a[3] - 1e-9)


def test_pack_places_scaled_rectangles_without_overlap():
    rng = np.random.default_rng(3)
    sizes = rng.uniform(0.05, 0.6, (25, 2))
    corner = rng.uniform(-5, 5, (25, 2))
    placed = trelm.pack(np.hstack([corner, corner + sizes]))
    assert placed.min() >= -1e-9 and placed.max() <= 1 + 1e-9
    assert placed[:, 2:].max() > 0.99  # enlarged to (nearly) touch the far side
    scale = (placed[:, 2:] - placed[:, :2]) / sizes
    np.testing.assert_allclose(scale, scale[0, 0], rtol=1e-6)
    assert not any(overlaps(placed[i], placed[j]) for i in range(25) for j in range(i))
    assert trelm.pack(np.zeros((0, 4))).shape == (0, 4)
    with pytest.raises(ValueError, match="maximum below its minimum"):
        trelm.pack([[0, 0, -1, 1]])
    with pytest.raises(ValueError, match="not finite"):
        trelm.pack([[0, 0, np.inf, 1]])
    with pytest.raises(ValueError, match=r"shape \(n, 4\)"):
        trelm.pack([[0, 0, 1]])
