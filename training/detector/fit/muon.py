"""An optimiser of weight matrices."""

import torch


def orthogonalise(matrix, dtype=torch.float32, steps=5):
    """The nearest matrix with orthonormal rows (or columns), nearly: singular values between about 0.7 and 1.2.

    A Newton-Schulz iteration on an odd polynomial, whose coefficients are chosen for a steep slope at zero rather than for
    convergence to 1; so bfloat16 is exact enough.
    """
    wide = matrix if matrix.shape[0] <= matrix.shape[1] else matrix.t()
    wide = (wide / (wide.norm() + 1e-7)).to(dtype)
    for _ in range(steps):
        product = wide @ wide.t()
        wide = 3.4445 * wide + (-4.7750 * product + 2.0315 * (product @ product)) @ wide
    return (wide if matrix.shape[0] <= matrix.shape[1] else wide.t()).float()


class Muon(torch.optim.Optimizer):
    """Momentum whose step is made orthogonal, so that no direction of a weight matrix dominates the others (Jordan et al.,
    Muon, 2024). The kernels of a convolution are the rows of its matrix.

    The step is scaled to the size that Adam's would have (Liu et al., Muon is scalable for LLM training, 2025), so that one
    rate suits both. With `keep_norm` the rate is the step's share of the matrix's norm, and the norm stays as it began: for
    weights that a normalisation follows, which has no use for their size. `dtype` is that of the products.
    """

    def __init__(self, parameters, lr, momentum=0.95, dtype=torch.float32, keep_norm=False):
        super().__init__(parameters, {"lr": lr, "momentum": momentum})
        self.dtype = dtype
        self.keep_norm = keep_norm

    @torch.no_grad()
    def step(self, closure=None):
        assert closure is None
        for group in self.param_groups:
            for parameter in group["params"]:
                if parameter.grad is None:
                    continue
                state = self.state[parameter]
                if not state:
                    state["moment"] = torch.zeros_like(parameter)
                    state["norm"] = parameter.norm()
                moment = state["moment"].mul_(group["momentum"]).add_(parameter.grad)
                ahead = parameter.grad + group["momentum"] * moment  # Nesterov's
                matrix = ahead.reshape(len(ahead), -1)
                step = orthogonalise(matrix, self.dtype).view_as(parameter)
                size = state["norm"] / step.norm() if self.keep_norm else 0.2 * max(matrix.shape) ** 0.5
                parameter.sub_(step * (group["lr"] * size))
                if self.keep_norm:
                    parameter.mul_(state["norm"] / parameter.norm())
