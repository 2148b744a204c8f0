"""View model classes and sampling tools against closed-form NumPy computations."""

import math

import numpy as np
import pytest

import trelm


def project(point, matrix):
    h = np.append(point, 1.0) @ matrix
    return h[:3] / h[3]


def test_lens_matrix_and_frustum_follow_the_closed_form():
    lens = trelm.AngleAspect(angle_of_view=0.8, aspect_ratio=1.5, near=2.0, far=50.0)
    g = 1 / math.tan(0.4)
    expected = np.zeros((4, 4))
    expected[0, 0], expected[1, 1], expected[2, 3] = g / 1.5, g, -1
    expected[2, 2], expected[3, 2] = (2 + 50) / (2 - 50), 2 * 2 * 50 / (2 - 50)
    np.testing.assert_allclose(lens.matrix(), expected, rtol=1e-12)
    assert trelm.vertical_angle(lens.matrix()) == pytest.approx(0.8)
    assert lens.height_at_depth(10) == pytest.approx(2 * math.tan(0.4) * 10)
    frustum = lens.eye_space_frustum()
    h = math.tan(0.4) * 2
    np.testing.assert_allclose(frustum.frame, [-1.5 * h, 1.5 * h, -h, h])
    np.testing.assert_allclose(frustum.matrix(), lens.matrix(), atol=1e-12)
    assert frustum.angle_aspect() == lens and trelm.AngleAspect() != lens
    assert trelm.AngleAspect().angle_of_view == pytest.approx(math.radians(55))
    lens.near = 3
    assert (lens.near, lens.far) == (3, 50)


@pytest.mark.parametrize("orthographic", [False, True])
def test_frustum_maps_its_corners_to_the_unit_cube(orthographic):
    frustum = trelm.EyeSpaceFrustum(left=-2, right=3, bottom=-1, top=1.5, near=1, far=20,
                                    orthographic=orthographic)
    m = frustum.matrix()
    np.testing.assert_allclose(m @ frustum.inverse_matrix(), np.eye(4), atol=1e-12)
    far_scale = 1 if orthographic else 20
    np.testing.assert_allclose(project([-2, -1, -1], m), [-1, -1, -1], atol=1e-12)
    np.testing.assert_allclose(project([3 * far_scale, 1.5 * far_scale, -20], m), [1, 1, 1],
                               atol=1e-9)
    origin, u, v, half_width, half_height = frustum.plane_at_depth(4)
    np.testing.assert_allclose(origin, [0, 0, -4])
    np.testing.assert_allclose([u, v], [[1, 0, 0], [0, 1, 0]])
    assert half_height == pytest.approx(frustum.height_at_depth(4) / 2)
    frustum.set_depth_range(2, 30)
    assert (frustum.near, frustum.far) == (2, 30)


def test_viewport_transforms_between_device_and_window_coordinates():
    viewport = trelm.Viewport(x=10, y=20, width=640, height=480)
    m = viewport.view_transform()
    np.testing.assert_allclose(project([-1, -1, -1], m), [10, 20, 0])
    np.testing.assert_allclose(project([1, 1, 1], m), [650, 500, 1])
    np.testing.assert_allclose(m @ viewport.inverse_view_transform(), np.eye(4), atol=1e-12)
    affine = viewport.view_transform("affine")
    np.testing.assert_allclose(affine, m[:, :3])
    assert viewport.view_transform("2d").shape == (3, 2)
    pick = viewport.pick_transform([100, 200, 140, 230])
    to_device = viewport.inverse_view_transform("affine")
    for corner, expected in [((100, 200), (-1, -1)), ((140, 230), (1, 1))]:
        device = np.append([*corner, 0.5], 1) @ to_device
        np.testing.assert_allclose((np.append(device, 1) @ pick)[:2], expected, atol=1e-12)
    assert viewport.aspect_ratio == pytest.approx(640 / 480)
    assert viewport == trelm.Viewport(x=10, y=20, width=640, height=480)
    with pytest.raises(ValueError, match="form must be"):
        viewport.view_transform("3d")


def test_hammersley_tables_are_bit_reversals_and_radical_inverses():
    table = trelm.HammersleyPermutation2(10)
    expected = [int(format(i, "010b")[::-1], 2) for i in range(1024)]
    np.testing.assert_array_equal(table.table, expected)
    assert table[-1] == expected[-1] and len(table) == 1024
    np.testing.assert_array_equal(table.map2d([3, 5], 7), [3 * 1024 + expected[7],
                                                            5 * 1024 + expected[7]])
    with pytest.raises(ValueError, match=r"k must lie in \[0, 15\]"):
        trelm.HammersleyPermutation2(16)
    np.testing.assert_allclose(trelm.ScrambledHammersleySequence(3, 4).values,
                               [0, 1 / 3, 2 / 3, 1 / 9], rtol=1e-6)
    base5 = trelm.ScrambledHammersleySequence(5, 6)  # digit permutation 0 3 2 1 4
    assert base5[1] == pytest.approx(3 / 5) and base5[5] == pytest.approx(3 / 25)
    with pytest.raises(ValueError, match="base must be 3, 5 or 7"):
        trelm.ScrambledHammersleySequence(2, 4)


def test_sphere_maps_give_unit_vectors_and_invert():
    u, v = np.meshgrid(np.linspace(0.01, 0.99, 9), np.linspace(0.05, 0.95, 7))
    points = trelm.sphere_to_cartesian(u, v)
    assert points.shape == (7, 9, 3)
    np.testing.assert_allclose(np.linalg.norm(points, axis=-1), 1, atol=1e-6)
    np.testing.assert_allclose(points[..., 2], 2 * v - 1, atol=1e-6)
    back_u, back_v = trelm.cartesian_to_sphere(points.reshape(-1, 3))
    np.testing.assert_allclose(back_u, u.ravel(), atol=1e-5)
    np.testing.assert_allclose(back_v, v.ravel(), atol=1e-5)
    cap = trelm.cap_to_cartesian(u, v, 1.0)
    assert (cap[..., 2] >= -1e-6).all()
    np.testing.assert_allclose(np.linalg.norm(cap, axis=-1), 1, atol=1e-6)


def test_random_directions_are_unit_repeatable_and_on_their_side():
    first = trelm.random_unit_vectors(2000, seed=5)
    np.testing.assert_array_equal(first, trelm.random_unit_vectors(2000, seed=5))
    np.testing.assert_allclose(np.linalg.norm(first, axis=1), 1, atol=1e-12)
    assert np.abs(first.mean(0)).max() < 0.06  # uniform: no preferred direction
    normal = np.array([0.0, 0.6, 0.8])
    half = trelm.hemisphere_vectors(normal, 2000, seed=6)
    assert (half @ normal >= 0).all()
    np.testing.assert_allclose(half.mean(0), normal / 2, atol=0.05)
    with pytest.raises(ValueError, match="count must lie"):
        trelm.random_unit_vectors(-1)
