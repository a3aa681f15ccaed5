"""Documentation and types of the module."""

import ast
import inspect
import pathlib

import ozna
from ozna import _ozna

PACKAGE = pathlib.Path(ozna.__file__).parent


def public_names(module):
    return {name for name in vars(module) if not name.startswith("_")}


def test_everything_public_has_a_docstring():
    for name in ozna.__all__:
        assert inspect.getdoc(getattr(ozna, name)), name
    for kind in (ozna.Detector, ozna.Finder, ozna.Face):
        for name in public_names(kind) - {"points"}:
            assert inspect.getdoc(getattr(kind, name)) or isinstance(getattr(kind, name), property), name
    assert inspect.getdoc(ozna.Finder.__init__)
    assert ozna.__doc__ and _ozna.__doc__


def test_everything_public_has_types():
    methods = [ozna.Detector.detect, ozna.Finder.detect, ozna.Finder.align, ozna.Finder.chips]
    for function in [getattr(ozna, name) for name in ozna.__all__] + methods:
        if inspect.isclass(function):
            continue
        signature = inspect.signature(function)
        assert signature.return_annotation is not inspect.Signature.empty, function
        for parameter in signature.parameters.values():
            assert parameter.name == "self" or parameter.annotation is not parameter.empty, function
    assert (PACKAGE / "py.typed").is_file()


def test_stubs_name_what_the_extension_has():
    tree = ast.parse((PACKAGE / "_ozna.pyi").read_text())
    functions = {node.name: node for node in tree.body if isinstance(node, ast.FunctionDef)}
    classes = {node.name: node for node in tree.body if isinstance(node, ast.ClassDef)}
    variables = {node.target.id for node in tree.body if isinstance(node, ast.AnnAssign)}
    assert set(functions) | set(classes) | variables == public_names(_ozna)

    def check(node, function):
        # The first line of a docstring of the extension is the signature.
        signature = function.__doc__.splitlines()[0]
        for argument in node.args.args:
            assert f"{argument.arg}:" in signature, (node.name, signature)
        assert signature.count(":") == len(node.args.args), signature

    for name, node in functions.items():
        check(node, getattr(_ozna, name))
    for name, node in classes.items():
        if issubclass(getattr(_ozna, name), Exception):
            continue
        methods = {item.name: item for item in node.body if isinstance(item, ast.FunctionDef)}
        public = public_names(getattr(_ozna, name))
        assert {method for method in methods if method != "__init__"} == public
        for method in methods.values():
            check(method, getattr(getattr(_ozna, name), method.name))


def test_both_ways_to_detect_take_the_same_parameters():
    method = inspect.signature(ozna.Detector.detect).parameters
    function = inspect.signature(ozna.detect).parameters
    assert [p for p in method if p != "self"] == list(function)
    assert [p.default for n, p in method.items() if n != "self"] == [p.default for p in function.values()]


def test_version_is_that_of_the_library():
    assert ozna.__version__.count(".") == 2
