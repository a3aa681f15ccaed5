"""Steps along orthogonalised gradients."""

import pytest

torch = pytest.importorskip("torch")

import muon  # noqa: E402


@pytest.mark.parametrize("dtype", [torch.float32, torch.bfloat16])
@pytest.mark.parametrize("shape", [(12, 40), (40, 12)])
def test_orthogonalised_matrices_have_singular_values_about_one(shape, dtype):
    matrix = torch.randn(shape, generator=torch.Generator().manual_seed(4)) * 1e-3
    made = muon.orthogonalise(matrix, dtype)
    values = torch.linalg.svdvals(made)
    assert values.min() > 0.6 and values.max() < 1.3
    # The same singular vectors: the made one against the exact one.
    u, _, v = torch.linalg.svd(matrix, full_matrices=False)
    assert (made - u @ v).norm() < 0.35 * (u @ v).norm()


def test_a_step_of_muon_goes_downhill_by_a_fifth_of_the_rate():
    parameter = torch.nn.Parameter(torch.zeros(8, 3, 5, 5))
    gradient = torch.randn(parameter.shape, generator=torch.Generator().manual_seed(6))
    parameter.grad = gradient.clone()
    muon.Muon([parameter], lr=0.01).step()
    assert (parameter.detach() * gradient).sum() < 0
    assert abs(parameter.detach().square().mean().sqrt() / 0.002 - 1) < 0.25


def test_a_step_that_keeps_the_norm_moves_by_a_share_of_it():
    generator = torch.Generator().manual_seed(7)
    before = torch.randn(8, 3, 5, 5, generator=generator)
    parameter = torch.nn.Parameter(before.clone())
    parameter.grad = torch.randn(before.shape, generator=generator) * 1e-4
    muon.Muon([parameter], lr=0.02, keep_norm=True).step()
    assert parameter.norm().item() == pytest.approx(before.norm().item(), rel=1e-5)
    assert ((parameter - before).norm() / before.norm()).item() == pytest.approx(0.02, rel=0.05)
    assert ((parameter.detach() - before) * parameter.grad).sum() < 0
