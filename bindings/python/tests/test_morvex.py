"""The Python module as a notebook or script uses it."""
import doctest
import gc
import importlib.util
import os
import threading
import weakref

import pytest

import morvex


@pytest.fixture
def calc():
    return morvex.Calculator()


def test_readme_example_runs_as_written():
    module_spec = importlib.util.spec_from_file_location("readme_examples", os.environ["MORVEX_EXAMPLES_SCRIPT"])
    examples = importlib.util.module_from_spec(module_spec)
    module_spec.loader.exec_module(examples)
    text = examples.extract(os.environ["MORVEX_README"])[("example", "python")]
    test = doctest.DocTestParser().get_doctest(text, {}, "README", "README.md", 0)
    runner = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS)
    runner.run(test)
    assert runner.failures == 0 and runner.tries > 5


@pytest.mark.parametrize("line, out, in_string, expression", [
    ("sin(30)+1.5E2=area rounded", "150.5", "Sin(30)+1.5E2", "rounded"),
    ("-2^2", "4", "-2^2", ""),
    ("3<3", "0", "3<3", ""),
])
def test_answers_and_side_texts(calc, line, out, in_string, expression):
    assert calc.calculate(line) == out
    assert (calc.out_string, calc.in_string, calc.expression, calc.err_number) == (out, in_string, expression, 0)


@pytest.mark.parametrize("line, number, name, first, length", [
    ("2+*3", 5, "OperatorBadPosition", 2, 1),
    ("1+\xe9\xe9*2", 5, "OperatorBadPosition", 4, 1),  # a byte above 127 is one character
])
def test_errors_point_into_the_python_string(calc, line, number, name, first, length):
    calc.calculate(line)
    assert (calc.err_number, calc.err_description, calc.err_first, calc.err_length) == (number, name, first, length)


def test_failures_carry_code_and_message_and_keep_the_variables():
    fresh = morvex.Calculator(initialize=False)
    with pytest.raises(morvex.Failure) as failure:
        fresh.calculate("1+1")
    assert failure.value.code == 91 and "Initialize" in failure.value.message
    fresh.initialize()
    fresh.calculate("5=a")
    with pytest.raises(morvex.Failure) as failure:
        fresh.calculate("1" * 40000)
    assert failure.value.code == 6
    assert fresh.calculate("a*2") == "10"
    assert ("a", 1, 5.0) in fresh.variables


def test_events_arrive_in_order_with_the_text_of_their_moment(calc):
    seen = []
    calc.on_change = lambda length, first: seen.append((length, first, calc.dna_string))
    calc.calculate("2+3")
    assert seen == [(3, 1, "2+3"), (1, 1, "5")]
    calc.on_change = None
    calc.calculate("1=b")
    calc.on_update_variables = lambda percent: seen.append(percent)
    seen.clear()
    calc.calculate("2=c")
    assert seen == [0.8, 1.0, 1.0]


def test_input_box_answers_with_a_value_or_declines(calc):
    asked = []

    def answer(word):
        asked.append(word)
        return {"k": 1.5, "m": "4"}.get(word)

    calc.on_input_box = answer
    assert calc.calculate("k*2") == "3"
    assert calc.calculate("m+1") == "5"
    calc.calculate("q*2")
    assert asked == ["k", "m", "q"]
    assert [name for name, _, _ in calc.variables] == ["Ans", "XVar", "YVar", "k", "m"]


def test_function_listing(calc):
    calc.calculate("XVar^2=sq")
    listing = []
    calc.on_get_functions = lambda name, text: listing.append((name, text))
    calc.fetch_functions()
    assert ("sq", "XVar^2") in listing


def test_a_raising_callback_stops_the_callbacks_and_is_raised_from_calculate(calc):
    calls = []

    def broken(length, first):
        calls.append(first)
        raise ValueError("host bug")

    calc.calculate("7=v")
    calc.on_change = broken
    with pytest.raises(ValueError, match="host bug"):
        calc.calculate("2+3*4")
    assert len(calls) == 1
    assert calc.out_string == "14"
    calc.on_change = None
    assert calc.calculate("v+1") == "8"

    calc.on_input_box = lambda word: 1 / 0
    with pytest.raises(ZeroDivisionError):
        calc.calculate("w+1")


def test_callbacks_run_on_a_worker_thread():
    results = []

    def work():
        own = morvex.Calculator()
        steps = []
        own.on_change = lambda length, first: steps.append(own.dna_string)
        results.append((own.calculate("(1+2)*3"), steps[-1]))

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert results == [("9", "9")] * 4


def test_properties_are_read_only(calc):
    with pytest.raises(AttributeError):
        calc.out_string = "1"
    calc.program_folder = "/nowhere"
    assert calc.program_folder == "/nowhere"
    assert calc.angle_unit == "Degree"
    calc.calculate("RAD")
    assert calc.angle_unit == "Radian"
    assert [name for name, _, _ in calc.variables] == ["Ans", "XVar", "YVar"]
    assert morvex.__version__.count(".") == 2


def test_a_handler_that_refers_to_its_calculator_is_collected():
    def make():
        calc = morvex.Calculator()
        calc.on_change = lambda length, first: calc.dna_string
        return weakref.ref(calc)

    gone = make()
    gc.collect()
    assert gone() is None
