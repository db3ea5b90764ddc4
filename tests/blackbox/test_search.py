"""`mos search`."""

import pytest

from harness import refused_url

FIRST = "/api/v1/packages?q="
SECOND = "/api/v1/search?q="


def found(registry, query, *results):
    """The whole output for results given as (name, description, latest)."""
    text = f'Packages matching "{query}"\n\n'
    for name, description, latest in results:
        shown = f"  {description}\n" if description else ""
        text += f"{name}\n{shown}  latest: {latest}\n\n"
    if not results:
        text += "  No packages found matching query.\n"
    return text + f"Browse packages online: {registry.url}/#packages\n"


def test_results_are_listed_in_the_order_of_the_reply(room, registry):
    registry.on(
        "GET",
        FIRST + "js",
        body='[{"name":"zjson","description":"Z","latest":"2.0.0"},'
        '{"name":"json","latest":"1.2.3-rc.1","description":"Reads JSON"}]',
    )
    assert room.run("search", "js").all == (
        0,
        found(registry, "js", ("zjson", "Z", "2.0.0"), ("json", "Reads JSON", "1.2.3-rc.1")),
        "",
    )
    assert registry.lines() == ["GET " + FIRST + "js"]


def test_a_result_without_description_has_two_lines(room, registry):
    registry.on("GET", FIRST + "a", body='[{"name":"a","description":"","latest":"1.0.0"}]')
    assert room.run("search", "a").out == found(registry, "a", ("a", "", "1.0.0"))


def test_a_latest_that_does_not_parse_is_shown_as_zero(room, registry):
    registry.on("GET", FIRST + "a", body='[{"name":"a","latest":"newest"},{"name":"b"}]')
    expected = found(registry, "a", ("a", "", "0.0.0"), ("b", "", "0.0.0"))
    assert room.run("search", "a").out == expected


def test_an_enclosing_object_belongs_to_the_first_result(room, registry):
    registry.on(
        "GET",
        FIRST + "a",
        body='{"packages":[{"name":"a","latest":"1.0.0"},{"name":"b","latest":"2.0.0"}]}',
    )
    expected = found(registry, "a", ("a", "", "1.0.0"), ("b", "", "2.0.0"))
    assert room.run("search", "a").out == expected


def test_an_empty_list_is_an_answer(room, registry):
    registry.on("GET", FIRST + "a", body="[]")
    registry.on("GET", SECOND + "a", body='[{"name":"a","latest":"1.0.0"}]')
    assert room.run("search", "a").all == (0, found(registry, "a"), "")
    assert registry.lines() == ["GET " + FIRST + "a"]


@pytest.mark.parametrize(("code", "body"), [(404, "no"), (500, ""), (200, ""), (201, "[]")])
def test_the_second_endpoint_is_asked_when_the_first_does_not_answer(room, registry, code, body):
    registry.on("GET", FIRST + "a", code, body)
    registry.on("GET", SECOND + "a", body='[{"name":"a","latest":"1.0.0"}]')
    assert room.run("search", "a").all == (0, found(registry, "a", ("a", "", "1.0.0")), "")
    assert registry.lines() == ["GET " + FIRST + "a", "GET " + SECOND + "a"]


def test_a_query_that_both_endpoints_refuse_finds_nothing(room, registry):
    assert room.run("search", "a").all == (0, found(registry, "a"), "")


def test_several_words_are_one_query(room, registry):
    assert room.run("search", "a", "b c", "d").all == (0, found(registry, "a b c d"), "")
    assert registry.lines()[0] == "GET " + FIRST + "a%20b%20c%20d"


def test_without_a_word_the_query_is_empty(room, registry):
    registry.on("GET", FIRST, body='[{"name":"a","latest":"1.0.0"}]')
    assert room.run("search").all == (0, found(registry, "", ("a", "", "1.0.0")), "")
    assert registry.lines() == ["GET " + FIRST]


def test_json_changes_nothing(room, registry):
    registry.on("GET", FIRST + "a", body='[{"name":"a","latest":"1.0.0"}]')
    expected = found(registry, "a", ("a", "", "1.0.0"))
    assert room.run("search", "a", "--json").all == (0, expected, "")


def test_offline_nothing_is_found(room, registry):
    assert room.run("search", "a", env={"MOS_OFFLINE": "1"}).all == (0, found(registry, "a"), "")
    assert registry.connections == 0


def test_a_registry_out_of_reach_finds_nothing(room):
    room.env["MOS_REGISTRY"] = address = refused_url()
    assert room.run("search", "a").all == (
        0,
        'Packages matching "a"\n\n  No packages found matching query.\n'
        f"Browse packages online: {address}/#packages\n",
        "",
    )
