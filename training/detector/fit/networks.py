"""Torch twins of the library's networks, built from their definitions, and the way back into weight files.

A twin has the layers, names and rounding rules of the definition it was built from, so whatever is fitted is what the
library runs. Its input is that of the library divided by INPUT_SCALE, which keeps the weights of all layers at sizes that
one learning rate suits; `to_message` divides the first layers' weights again.
"""

import math

import torch
import torch.nn.functional as F
from google.protobuf import text_format
from torch import nn

INPUT_SCALE = 64.0


class AcrossChannels(nn.Module):
    """x * (1 + alpha / size * sum of x^2 over `size` neighbouring channels) ^ -0.75."""

    def __init__(self, channels, size, alpha):
        super().__init__()
        index = torch.arange(channels)
        near = (index[:, None] - index[None, :]).abs() <= size // 2
        self.register_buffer("band", near.float().view(channels, channels, 1, 1) * (alpha / size), persistent=False)

    def forward(self, x):
        root = torch.rsqrt(F.conv2d(x * x, self.band.to(x.dtype)) + 1)
        return x * root * torch.sqrt(root)


class Twin(nn.Module):
    """A network of a definition (a NetParameter message) up to its last layer before the softmax.

    The input is (N, 3, height, width); the output (N, classes), or (N, classes, height, width) of a network that ends in a
    convolution. `scores_from` names blobs of a layer's weights as torch holds them: (out, in, height, width).
    """

    def __init__(self, definition, input_shape):
        super().__init__()
        self.definition = definition
        self.steps = []
        self.modules_by_name = nn.ModuleDict()
        shapes = {definition.input[0]: tuple(input_shape)}
        kind = definition.layers[0].LayerType.Name
        for layer in definition.layers:
            name = kind(layer.type)
            if name == "SOFTMAX":
                break
            self._add(layer, name, shapes)
        self.output = self.steps[-1][3]

    def _add(self, layer, kind, shapes):
        bottoms, top = list(layer.bottom), layer.top[0]
        channels, height, width = shapes[bottoms[0]] if len(shapes[bottoms[0]]) == 3 else (shapes[bottoms[0]][0], 1, 1)
        key = layer.name.replace(".", "_")
        if kind == "CONVOLUTION":
            p = layer.convolution_param
            self.modules_by_name[key] = nn.Conv2d(channels, p.num_output, p.kernel_size, p.stride, p.pad, bias=True)
            side = lambda n: (n + 2 * p.pad - p.kernel_size) // p.stride + 1
            shapes[top] = (p.num_output, side(height), side(width))
        elif kind == "INNER_PRODUCT":
            self.modules_by_name[key] = nn.Linear(math.prod(shapes[bottoms[0]]), layer.inner_product_param.num_output)
            shapes[top] = (layer.inner_product_param.num_output,)
        elif kind == "POOLING":
            p = layer.pooling_param
            side = lambda n: -((n + 2 * p.pad - p.kernel_size) // -p.stride) + 1
            shapes[top] = (channels, side(height), side(width))
        elif kind == "LRN":
            p = layer.lrn_param
            assert p.beta == 0.75
            self.modules_by_name[key] = AcrossChannels(channels, p.local_size, p.alpha)
            shapes[top] = shapes[bottoms[0]]
        elif kind == "CONCAT":
            shapes[top] = (sum(shapes[b][0] for b in bottoms),)
        elif kind in ("RELU", "POWER"):
            shapes[top] = shapes[bottoms[0]]
        else:
            raise ValueError(f"no twin for a layer of type {kind}")
        self.steps.append((kind, key, bottoms, top, layer))

    def forward(self, x):
        blobs = {self.definition.input[0]: x}
        pixels = {self.definition.input[0]}
        for kind, key, bottoms, top, layer in self.steps:
            value = blobs[bottoms[0]]
            if kind == "POOLING":
                p = layer.pooling_param
                pool = F.max_pool2d if p.pool == p.MAX else F.avg_pool2d
                blobs[top] = pool(value, p.kernel_size, p.stride, p.pad, ceil_mode=True)
            elif kind == "RELU":
                blobs[top] = F.relu(value)
            elif kind == "POWER":
                # Of the pixels, which stand divided here, as all that comes of them by such layers does.
                p, size = layer.power_param, 1.0
                if bottoms[0] in pixels:
                    size = INPUT_SCALE
                    pixels.add(top)
                blobs[top] = (p.shift + p.scale * size * value) ** p.power / size
            elif kind == "CONCAT":
                blobs[top] = torch.cat([blobs[b].flatten(1) for b in bottoms], 1)
            elif kind == "INNER_PRODUCT":
                blobs[top] = self.modules_by_name[key](value.flatten(1))
            else:
                blobs[top] = self.modules_by_name[key](value)
        return blobs[self.output]

    def input_layers(self):
        """Names of the layers with weights that read the input, directly or through poolings and powers."""
        raw = {self.definition.input[0]}
        names = []
        for kind, key, bottoms, top, _ in self.steps:
            if bottoms[0] in raw and kind in ("POOLING", "POWER"):
                raw.add(top)
            elif bottoms[0] in raw and kind in ("CONVOLUTION", "INNER_PRODUCT"):
                names.append(key)
        return names

    def last_layer(self):
        """The layer whose outputs are the logits."""
        return self.modules_by_name[self.steps[-1][1]]

    def initialise(self, generator):
        """He's initialisation (2015) with the given torch.Generator; biases 0."""
        for module in self.modules_by_name.values():
            if hasattr(module, "weight"):
                fan_in = module.weight[0].numel()
                gain = 0.1 if module is self.last_layer() else math.sqrt(2.0)
                with torch.no_grad():
                    module.weight.copy_(torch.randn(module.weight.shape, generator=generator) * gain / math.sqrt(fan_in))
                    module.bias.zero_()

    def fits(self, message):
        """Whether a NetParameter message has weights for all layers, of their names and sizes."""
        sizes = {layer.name.replace(".", "_"): [len(blob.data) for blob in layer.blobs] for layer in message.layers}
        return all(sizes.get(key) == [module.weight.numel(), module.bias.numel()]
                   for key, module in self.modules_by_name.items() if hasattr(module, "weight"))

    def become_mean_with(self, other):
        """Takes the mean of the weights of two twins, which is worth having where one was fitted from the other."""
        weights = other.state_dict()
        self.load_state_dict({key: (value + weights[key]) / 2 for key, value in self.state_dict().items()})

    def from_message(self, message):
        """Takes the weights of a NetParameter message with blobs."""
        blobs = {layer.name.replace(".", "_"): layer.blobs for layer in message.layers if layer.blobs}
        scaled = set(self.input_layers())
        for key, module in self.modules_by_name.items():
            if not hasattr(module, "weight"):
                continue
            weight, bias = (torch.tensor(list(b.data), dtype=torch.float32) for b in blobs[key])
            with torch.no_grad():
                module.weight.copy_(weight.view_as(module.weight) * (INPUT_SCALE if key in scaled else 1.0))
                module.bias.copy_(bias)

    def to_message(self):
        """The definition with these weights, as a NetParameter message."""
        message = type(self.definition)()
        message.CopyFrom(self.definition)
        scaled = set(self.input_layers())
        for layer in message.layers:
            key = layer.name.replace(".", "_")
            module = self.modules_by_name[key] if key in self.modules_by_name else None
            if module is None or not hasattr(module, "weight"):
                continue
            weight = module.weight.detach().double() / (INPUT_SCALE if key in scaled else 1.0)
            bias = module.bias.detach().double()
            del layer.blobs[:]
            shape = (tuple(weight.shape) if weight.dim() == 4 else (1, 1) + tuple(weight.shape))
            for values, dims in ((weight, shape), (bias, (1, 1, 1, bias.numel()))):
                blob = layer.blobs.add()
                blob.num, blob.channels, blob.height, blob.width = dims
                blob.data.extend(values.float().flatten().tolist())
        return message


def read_definition(schema, path):
    """Reads a text definition with the generated schema module."""
    with open(path, encoding="ascii") as file:
        return text_format.Parse(file.read(), schema.NetParameter())


def device():
    """Where to compute: a GPU if there is one."""
    return torch.device("cuda" if torch.cuda.is_available() else "cpu")


def network_input(x, mean):
    """Pixels to the twin's input; `mean` is an image, or the number 100 for the first network."""
    mean = mean.to(x.device) if torch.is_tensor(mean) else mean
    return ((x - mean) / INPUT_SCALE).contiguous(memory_format=torch.channels_last)
