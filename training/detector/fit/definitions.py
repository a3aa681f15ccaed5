"""Definitions and tables of networks that are written in one line, such as "c16 p c32 c48 p f64 f2"."""

import math
import re

HEAD = 'name: "{name}"\ninput: "data"\ninput_dim: 1\ninput_dim: 3\ninput_dim: {side}\ninput_dim: {side}\n'
LAYER = re.compile(r"([cfp])(\d*)(?:k(\d))?(?:/(\d))?")
KINDS = {"c": "conv", "f": "fc", "p": "pool"}

# "t": roots of the pixels, which spread what lies in the dark: two grey levels around 20 differ by 2.3 times as much as two around
# 110, where they differ as before, so that weights for plain pixels less 110 are a start for these.
MIDDLE, BLACK = 110, 1
SLOPE = 2 * math.sqrt(MIDDLE + BLACK)
TONE = (f'layers {{ name: "root" type: POWER bottom: "data" top: "root" power_param {{ power: 0.5 shift: {BLACK} }} }}\n'
        f'layers {{ name: "tone" type: POWER bottom: "root" top: "tone" power_param '
        f'{{ scale: {SLOPE:.6g} shift: {-2 * (MIDDLE + BLACK)} }} }}\n')


def has_tone(layers):
    """Whether a network begins with the roots of its pixels, and so has a mean image of zeros."""
    return layers.split()[:1] == ["t"]


def definition(name, layers, side):
    """The text definition of a network of one chain of layers, which ends in the probabilities `probs`.

    layers  c16: a convolution of 16 kernels of 3 by 3; c16k5: of 5 by 5; c16/2: with stride 2; p: maximum pooling 2 by 2; p3: 3 by 3, at
            distances of 2; f64: fully connected; t, before all others: roots of the pixels. A rectifier stands between layers, behind the pooling where there is one.
    side    of the declared input
    """
    text, bottom = HEAD.format(name=name, side=side), "data"
    words = layers.split()
    if has_tone(layers):
        words, text, bottom = words[1:], text + TONE, "tone"
    for number, word in enumerate(words, 1):
        kind, size, kernel, stride = LAYER.fullmatch(word).groups()
        top = f"{KINDS[kind]}{number}"
        layer = {"c": f"CONVOLUTION{{}} convolution_param {{{{ num_output: {size} kernel_size: {kernel or 3} stride: {stride or 1} }}}}",
                 "f": f"INNER_PRODUCT{{}} inner_product_param {{{{ num_output: {size} }}}}",
                 "p": f"POOLING{{}} pooling_param {{{{ pool: MAX kernel_size: {size or 2} stride: 2 }}}}"}[kind]
        text += f'layers {{ name: "{top}" type: ' + layer.format(f' bottom: "{bottom}" top: "{top}"') + " }\n"
        # The rectifier of a layer that is pooled stands behind the pooling, where there are fewer values.
        if number < len(words) and words[number][0] != "p":
            text += f'layers {{ name: "{top}_neuron" type: RELU bottom: "{top}" top: "{top}" }}\n'
        bottom = top
    return text + f'layers {{ name: "probs" type: SOFTMAX bottom: "{bottom}" top: "probs" }}\n'


def patterns(shifts, scales, side):
    """Lines of a calibration's table: every shift in x with every one in y with every scale.

    A pattern of a scale alone keeps the middle of the box where it is, so shifts are counted from there; in pixels of the input.
    """
    rows = []
    for scale in scales:
        middle = round(0.5 * side * (1 / scale - 1))
        rows += [f"{middle + dx} {middle + dy} {scale:g}\n" for dx in shifts for dy in shifts]
    return "".join(rows)
