"""How the programs for Linux are hardened, read from the files that were built.

What is asked of them, and why, stands in cmake/hardening.cmake. tests/windows looks at mos.exe.
"""

import json
import re
import shutil
import subprocess
from pathlib import Path

import pytest

from harness import on_windows, program

ROOT = Path(__file__).resolve().parents[2]
BUILT = Path(program()[-1])

pytestmark = pytest.mark.skipif(on_windows(), reason="for the programs of Linux")


@pytest.fixture(params=["mos", "mos-registry"])
def built(request):
    """The file of one program."""
    path = BUILT if request.param == "mos" else BUILT.parent / request.param
    if not path.exists():
        pytest.skip(f"no {request.param} was built beside the program")
    if shutil.which("readelf") is None:
        pytest.skip("nothing here reads program files")
    if "__asan_init" in tool("readelf", "--dyn-syms", "-W", path):
        pytest.skip("a sanitized build is not shipped")
    return path


def tool(*words):
    return subprocess.run(words, check=True, capture_output=True, encoding="utf-8").stdout


def segment(path, name):
    """The line of one segment of the program."""
    lines = tool("readelf", "-lW", path).splitlines()
    found = [line.split() for line in lines if line.split()[:1] == [name]]
    assert len(found) == 1, (name, found)
    return found[0]


def dynamic_entry(path, tag):
    match = re.search(rf"\({tag}\)\s+(.*)", tool("readelf", "-dW", path))
    return match[1] if match else ""


def functions(path):
    """{name: its instructions, one for each line}"""
    text = tool("objdump", "-d", "--no-show-raw-insn", path)
    return dict(re.findall(r"^[0-9a-f]+ <([^>]+)>:\n((?:.+\n)+)", text, re.MULTILINE))


def test_it_is_loaded_at_a_random_address(built):
    assert re.search(r"Type:\s+DYN ", tool("readelf", "-hW", built))
    assert "PIE" in dynamic_entry(built, "FLAGS_1").split()


def test_addresses_of_functions_are_bound_at_the_start_and_read_only_from_then_on(built):
    assert "NOW" in dynamic_entry(built, "FLAGS_1").split()
    relro = segment(built, "GNU_RELRO")
    begin, end = int(relro[2], 16), int(relro[2], 16) + int(relro[5], 16)
    sections = re.findall(
        r"\] (\.got\S*|\.dynamic|\.init_array)\s+\S+\s+([0-9a-f]+) \S+ ([0-9a-f]+)",
        tool("readelf", "-SW", built),
    )
    assert {".got", ".dynamic", ".init_array"} <= {name for name, _, _ in sections}
    for name, address, size in sections:
        assert begin <= int(address, 16) and int(address, 16) + int(size, 16) <= end, name


def test_the_stack_is_never_run(built):
    assert segment(built, "GNU_STACK")[6] == "RW"


def test_nothing_is_both_written_and_run(built):
    loaded = [line.split() for line in tool("readelf", "-lW", built).splitlines() if " LOAD " in line]
    assert loaded
    assert [words for words in loaded if {"W", "E"} <= set("".join(words[6:-1]))] == []


def test_it_has_no_text_relocations(built):
    assert dynamic_entry(built, "TEXTREL") == ""


def test_functions_watch_their_stack_and_begin_with_a_place_to_jump_to(built):
    code = functions(built)
    watched = [name for name, text in code.items() if "__stack_chk_fail" in text]
    assert any("3mos" in name for name in watched), "no function of this program is among them"
    probed = [name for name, text in code.items() if re.search(r"\bor[ql]\s+\$0x0,.*\(%rsp\)", text)]
    assert any("3mos" in name for name in probed), "no large frame is probed page by page"
    assert code["main"].splitlines()[0].split()[1:] == ["endbr64"]


def test_every_source_is_compiled_with_checked_calls_of_the_c_library(built):
    commands = built.parent / "compile_commands.json"
    if not commands.exists():
        pytest.skip("the program does not stand in a build directory")
    shipped = [
        (Path(entry["file"]).relative_to(ROOT).as_posix(), entry["command"].split())
        for entry in json.loads(commands.read_text(encoding="utf-8"))
        if re.match(r"(src|server)/", Path(entry["file"]).relative_to(ROOT).as_posix())
    ]
    if not any("-O2" in words for _, words in shipped):
        pytest.skip("not an optimized build, which alone can check them")
    assert shipped
    assert [name for name, words in shipped if "-D_FORTIFY_SOURCE=3" not in words] == []
