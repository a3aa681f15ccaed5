"""The last network's teacher: a residual network that judges the same windows better than the network of the cascade has learnt
to from labels. That one then learns from the teacher's answers (`tasks.DistilledTask`)."""

import torch
import torch.nn.functional as F
from torch import nn

HIDDEN = 192

# Channels and count of the blocks at 24, 12 and 6 pixels.
STAGES = ((32, 1), (64, 2), (128, 2))


class Block(nn.Module):
    """Two convolutions and a way past them (He et al., Deep residual learning for image recognition, 2016)."""

    def __init__(self, before, channels, stride):
        super().__init__()
        self.first = nn.Conv2d(before, channels, 3, stride, 1, bias=False)
        self.first_norm = nn.BatchNorm2d(channels)
        self.second = nn.Conv2d(channels, channels, 3, 1, 1, bias=False)
        self.second_norm = nn.BatchNorm2d(channels)
        nn.init.constant_(self.second_norm.weight, 0.5)
        reduced = [nn.AvgPool2d(stride)] if stride > 1 else []
        widened = [nn.Conv2d(before, channels, 1, bias=False)] if before != channels else []
        self.past = nn.Sequential(*reduced, *widened)

    def forward(self, x):
        y = F.relu(self.first_norm(self.first(x)))
        y = self.second_norm(self.second(y))
        return F.relu(y + self.past(x))


class Teacher(nn.Module):
    """Windows (N, 3, 48, 48), as a twin of the cascade takes them, to logits (N, 1 + patterns): that of a face, then those of the
    overlaps that the calibration's moves would leave. The overlaps are learnt along, so that the features know where in the
    window the face lies.
    """

    def __init__(self, patterns):
        super().__init__()
        channels = STAGES[0][0]
        self.stem = nn.Conv2d(3, channels, 5, 2, 2, bias=False)
        self.stem_norm = nn.BatchNorm2d(channels)
        blocks = []
        for number, (wider, count) in enumerate(STAGES):
            for i in range(count):
                blocks.append(Block(channels, wider, 2 if number > 0 and i == 0 else 1))
                channels = wider
        self.blocks = nn.Sequential(*blocks)
        # Few channels with their places beside the mean of all: what is there, and where.
        self.places = nn.Conv2d(channels, 32, 1, bias=False)
        self.places_norm = nn.BatchNorm2d(32)
        self.hidden = nn.Linear(32 * 6 * 6 + channels, HIDDEN, bias=False)
        self.hidden_norm = nn.BatchNorm1d(HIDDEN)
        self.last = nn.Linear(HIDDEN, 1 + patterns)
        with torch.no_grad():
            self.last.weight[0].normal_(0, 0.01)
            self.last.bias[0] = 0

    def forward(self, x):
        x = self.blocks(F.relu(self.stem_norm(self.stem(x))))
        places = F.relu(self.places_norm(self.places(x)))
        x = torch.cat([places.flatten(1), x.mean((2, 3))], 1)
        x = F.relu(self.hidden_norm(self.hidden(x)))
        return self.last(F.dropout(x, 0.3, self.training))

    def last_layer(self):
        """The layer whose outputs are the logits."""
        return self.last
