"""Threads of the interpreter beside each other."""

import os
import threading
import time

import numpy as np
import ozna
import pytest


@pytest.fixture(scope="module")
def small(portrait):
    """The portrait's face and little around it, which takes less time."""
    return np.ascontiguousarray(portrait[20:220, 120:320])


def in_threads(number, work):
    """Runs work(i) in so many threads; gives the results, raises what a thread raised."""
    results, errors = [None] * number, []

    def run(i):
        try:
            results[i] = work(i)
        except BaseException as error:  # Told by the main thread.
            errors.append(error)

    threads = [threading.Thread(target=run, args=(i,)) for i in range(number)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if errors:
        raise errors[0]
    return results


def test_detector_each_and_one_landmark_model(small, landmarks):
    expected_faces = ozna.detect(small)
    expected_points = ozna.align(small, expected_faces[0])

    def work(_):
        faces = ozna.detect(small)
        return faces, ozna.align(small, faces[0])

    for faces, points in in_threads(8, work):
        np.testing.assert_array_equal(faces, expected_faces)
        np.testing.assert_allclose(points, expected_points, atol=0.01)


def test_one_detector_serves_all_threads(detector, small):
    expected = detector.detect(small)
    for faces in in_threads(8, lambda _: detector.detect(small)):
        np.testing.assert_array_equal(faces, expected)


def test_landmark_model_may_be_loaded_beside_alignments(small, landmarks):
    expected = ozna.align(small, (46, 44, 148, 146))

    def work(i):
        if i == 0:
            ozna.load_landmarks()
            return expected
        return ozna.align(small, (46, 44, 148, 146))

    for points in in_threads(8, work):
        np.testing.assert_allclose(points, expected, atol=0.01)


def share_of_calls_with_progress_elsewhere(call, calls):
    """Runs call so often in a thread; returns during how many of them this thread went on."""
    spans, ticks = [], []

    def work():
        for _ in range(calls):
            begin = time.perf_counter()
            call()
            end = time.perf_counter()
            spans.append((begin + 0.25 * (end - begin), end - 0.25 * (end - begin)))

    thread = threading.Thread(target=work)
    thread.start()
    while thread.is_alive():
        ticks.append(time.perf_counter())
        time.sleep(0.0005)
    thread.join()
    return sum(any(a < tick < b for tick in ticks) for a, b in spans) / calls


def test_interpreter_goes_on_during_a_search(detector, group):
    assert share_of_calls_with_progress_elsewhere(lambda: detector.detect(group), 8) > 0.5


def test_interpreter_goes_on_during_an_alignment(portrait, landmarks):
    call = lambda: ozna.align(portrait, (166, 64, 268, 166))
    assert share_of_calls_with_progress_elsewhere(call, 20) > 0.5


def test_measure_of_progress_sees_a_held_lock():
    # sum over a range holds the interpreter's lock from its begin to its end.
    assert share_of_calls_with_progress_elsewhere(lambda: sum(range(2_000_000)), 5) < 0.5


def test_two_threads_take_less_time_than_one(group):
    """With one Finder for both and nothing set in the environment, by the clock and the processors' time: while both
    search, more than one processor works, where there are two."""
    finder = ozna.Finder(landmarks=False)
    finder.detect(group)

    def processors_in_use(threads, searches):
        clock, processors = time.perf_counter(), time.process_time()
        in_threads(threads, lambda _: [finder.detect(group) for _ in range(searches)])
        return (time.process_time() - processors) / (time.perf_counter() - clock)

    # The best of three: what other processes take meanwhile is not the finder's.
    alone = max(processors_in_use(1, 4) for _ in range(3))
    if len(os.sched_getaffinity(0)) < 2 or alone < 0.9:
        pytest.skip(f"one thread gets {alone:.2f} of a processor here")
    ratio = max(processors_in_use(2, 10) for _ in range(3))
    assert ratio > 1.2 * alone, (ratio, alone)
    assert finder.info["detectors"] == 2
