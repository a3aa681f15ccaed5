"""Normalisation of batches that folds back into the layers."""

import pytest

torch = pytest.importorskip("torch")

import normalisation  # noqa: E402
from fit_helpers import trained_twin  # noqa: E402


def test_normalisation_begins_as_the_network_and_folds_back_into_its_layers(schema):
    twin, _ = trained_twin(schema, "third")
    names = list(twin.state_dict())
    x = torch.randn(64, 3, 48, 48, generator=torch.Generator().manual_seed(2))
    with torch.no_grad():
        plain = twin(x)
        normalisation.normalise(twin, x)
        torch.testing.assert_close(twin.eval()(x), plain, rtol=1e-3, atol=1e-3)
        # As a fit would leave it: other statistics, scales and offsets.
        for module in twin.modules():
            if isinstance(module, normalisation.Normalised):
                module.norm.running_mean += 0.3
                module.norm.running_var *= 1.5
                module.norm.weight *= 0.9
                module.norm.bias -= 0.1
        changed = twin(x)
        normalisation.fold(twin)
        torch.testing.assert_close(twin(x), changed, rtol=1e-3, atol=1e-3)
    assert (changed - plain).abs().max() > 0.1
    assert list(twin.state_dict()) == names
