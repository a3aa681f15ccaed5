"""Batch normalisation for the fit of a network whose definition has none: put in before, folded into the weights after."""

import torch
from torch import nn


class Normalised(nn.Module):
    """A layer whose outputs are normalised over the batch while it is fitted (Ioffe and Szegedy, Batch normalization, 2015).

    It starts as the plain layer: `outputs` are some that the layer made, whose mean and variance become scale and offset.
    """

    def __init__(self, layer, outputs):
        super().__init__()
        self.layer = layer
        kind = nn.BatchNorm2d if isinstance(layer, nn.Conv2d) else nn.BatchNorm1d
        self.norm = kind(len(layer.bias), momentum=0.02)
        values = outputs.transpose(0, 1).flatten(1)
        mean, variance = values.mean(1), values.var(1)
        with torch.no_grad():
            self.norm.running_mean.copy_(mean - layer.bias)
            self.norm.running_var.copy_(variance)
            self.norm.weight.copy_((variance + self.norm.eps).sqrt())
            self.norm.bias.copy_(mean)
            layer.bias.zero_()
        layer.bias.requires_grad_(False)  # The offset takes its place.

    def forward(self, x):
        return self.norm(self.layer(x))

    def folded(self):
        """The plain layer that gives what this one gives with the statistics of the whole fit."""
        scale = self.norm.weight.double() / (self.norm.running_var.double() + self.norm.eps).sqrt()
        with torch.no_grad():
            self.layer.weight.copy_(self.layer.weight.double() * scale.view(-1, *[1] * (self.layer.weight.dim() - 1)))
            self.layer.bias.copy_(self.norm.bias.double() - scale * self.norm.running_mean.double())
        self.layer.bias.requires_grad_(True)
        return self.layer


def normalise(twin, x):
    """Normalises all layers of a twin that have weights, but the last, with the statistics of the inputs `x` to begin with."""
    for name, layer in list(twin.modules_by_name.items()):
        if not hasattr(layer, "weight") or layer is twin.last_layer():
            continue
        made = []
        hook = layer.register_forward_hook(lambda _layer, _inputs, output: made.append(output.detach().float()))
        with torch.no_grad():
            twin(x)
        hook.remove()
        twin.modules_by_name[name] = Normalised(layer, made[0])


def fold(twin):
    """Undoes `normalise`, so that the twin has the layers of its definition again."""
    for name, layer in list(twin.modules_by_name.items()):
        if isinstance(layer, Normalised):
            twin.modules_by_name[name] = layer.folded()
