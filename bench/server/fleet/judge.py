# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""Whether an answer is right: that of a step of the store that was current during the request."""

import time


class Judge:
    """Learns the answers of each step first; then the steps are published again."""

    def __init__(self):
        self._right = []  # for each step: target -> (body, mark)
        self._begun, self._done = [0.0], [0.0]

    def learn(self, answers):
        self._right.append(answers)

    def body(self, target, step=0):
        return self._right[step][target][0]

    def mark(self, target, step=0):
        """The ETag."""
        return self._right[step][target][1]

    def publish(self, step, do):
        """Publishes the next step by `do`, and notes from when until when that took."""
        self._begun.append(time.monotonic())
        do(step)
        self._done.append(time.monotonic())

    def _current(self, begin, end):
        """The steps that were current at some time between these."""
        for step, begun in enumerate(self._begun):
            is_over = step + 1 < len(self._done) and self._done[step + 1] < begin
            if begun <= end and not is_over:
                yield step

    def is_right(self, target, body, begin, end):
        return any(self._right[step][target][0] == body for step in self._current(begin, end))

    def is_still_right(self, target, mark, begin, end):
        """For an answer 304 to a request with this mark."""
        return any(self._right[step][target][1] == mark for step in self._current(begin, end))
