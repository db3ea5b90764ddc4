"""What a link map says a program is made of."""

from component_list import document, linked_files

LINK_MAP = """Archive member included to satisfy reference by file (symbol)

/usr/lib/gcc/x86_64-linux-gnu/12/libstdc++.a(new_op.o)
                              libmos_lib.a(console.cpp.o) (operator new(unsigned long))
libmos_lib.a(console.cpp.o)
                              CMakeFiles/mos.dir/src/main.cpp.o (mos::print)

Discarded input sections

 .group         0x0        0x8 /usr/lib/gcc/x86_64-linux-gnu/12/libunused.a(unused.o)

Memory Configuration

LOAD /usr/lib/gcc/x86_64-linux-gnu/12/../../../x86_64-linux-gnu/Scrt1.o
LOAD CMakeFiles/mos.dir/src/main.cpp.o
LOAD libmos_lib.a
LOAD /usr/lib/gcc/x86_64-linux-gnu/12/libstdc++.a
LOAD /usr/lib/gcc/x86_64-linux-gnu/12/libloaded.a
LOAD /usr/lib/gcc/x86_64-linux-gnu/12/../../../x86_64-linux-gnu/libm.so
"""


def test_only_what_the_linker_took_code_of_is_part_of_a_program(tmp_path):
    link_map = tmp_path / "mos.map"
    link_map.write_text(LINK_MAP, encoding="utf-8")
    assert linked_files(link_map) == {
        "/usr/lib/gcc/x86_64-linux-gnu/12/libstdc++.a",
        "/usr/lib/gcc/x86_64-linux-gnu/12/../../../x86_64-linux-gnu/Scrt1.o",
    }


def test_the_document_says_what_a_program_is_made_of():
    # libc6 is installed wherever there is dpkg.
    made = document("1.2.3", 86400, {"mos": ["libc6"]})
    libc = made["components"][1]
    assert (made["bomFormat"], made["specVersion"]) == ("CycloneDX", "1.5")
    assert made["metadata"]["timestamp"] == "1970-01-02T00:00:00Z"
    assert (libc["type"], libc["name"]) == ("library", "libc6")
    assert libc["purl"].startswith("pkg:deb/debian/libc6@")
    assert made["dependencies"] == [
        {"ref": "release", "dependsOn": ["mos"]},
        {"ref": "mos", "dependsOn": [libc["bom-ref"]]},
    ]


def test_the_same_contents_have_the_same_number():
    first = document("1.2.3", 86400, {"mos": ["libc6"]})
    assert first == document("1.2.3", 86400, {"mos": ["libc6"]})
    assert first["serialNumber"] != document("1.2.4", 86400, {"mos": ["libc6"]})["serialNumber"]
