#!/usr/bin/python3
"""Writes YANG modules of the size of a large router: 1,225 modules, 720,000 nodes.

    bench/yang_modules.py DIRECTORY [MODULES [PREFIX [EDITION]]]

Each has lists with config and state from groupings, and most of what costs a
compiler time: patterns, ranges, identities, references, conditions and augments of
other modules. Another edition has another description of one leaf in one module
of a hundred; another prefix names everything otherwise.
"""

import os
import sys

MODULES = 1225
PREFIX = "bench"
LISTS = 14
FAMILY = 5  # modules of which each augments the one before
TEXT = "as it was last told by the part of the system that owns it, which may be later than"

TYPES = """module {prefix}-types {{
  namespace "urn:{prefix}:types";
  prefix t;
  identity kind;
  {identities}
  typedef name {{ type string {{ length "1..64"; pattern "[A-Za-z][-A-Za-z0-9_.]*"; }} }}
  typedef percent {{ type uint8 {{ range "0..100"; }} units "percent"; }}
  typedef address {{ type union {{
    type string {{ pattern "[0-9]+(\\\\.[0-9]+){{3}}"; }}
    type string {{ pattern "[0-9a-fA-F:]+"; }} }} }}
}}
"""

MODULE = """module {name} {{
  yang-version 1.1;
  namespace "urn:{name}";
  prefix m;
  import {prefix}-types {{ prefix t; }}
  {imports}
  feature extra;
  grouping settings {{
    leaf name {{ type t:name; description "The name of the entry, {text} {name}."; }}
    leaf enabled {{ type boolean; default "true"; description "Whether it works, {text} now."; }}
    leaf kind {{ type identityref {{ base t:kind; }} description "Of what kind it is."; }}
    leaf mode {{ type enumeration {{ enum idle; enum active; enum standby; enum failed; }}
      default "idle"; description "How it works, {text} that. {edition}"; }}
    leaf load {{ type t:percent; description "How much of the capacity is used, {text} ever."; }}
    leaf mtu {{ type uint16 {{ range "64..9216"; }} units "octets"; default "1500"; }}
    leaf-list address {{ type t:address; ordered-by user; description "Its addresses."; }}
    container limits {{
      description "Limits, {text} those of others.";
      must "not(low > high)";
      leaf low {{ type uint32; description "The lower bound."; }}
      leaf high {{ type uint32; description "The upper bound, {text} the lower one."; }}
      choice action {{
        case drop {{ leaf drop {{ type empty; description "Drops what exceeds."; }} }}
        case mark {{ leaf mark {{ type uint8 {{ range "0..63"; }} description "Marks it."; }} }}
      }}
    }}
  }}
  grouping counters {{
    leaf in-octets {{ type uint64; description "What came in, {text} what went out."; }}
    leaf out-octets {{ type uint64; description "What went out, {text} what came in."; }}
    leaf in-errors {{ type uint64; description "What came in and was bad."; }}
    leaf out-errors {{ type uint64; description "What could not go out."; }}
    leaf last-change {{ type string {{ pattern "\\\\d{{4}}-\\\\d{{2}}-\\\\d{{2}}T.*"; }} }}
  }}
  container {name} {{
    description "All of {name}.";
    {lists}
  }}
  {augment}
}}
"""

LIST = """
    list entry-{number} {{
      key "name";
      leaf name {{ type leafref {{ path "../config/name"; }} }}
      container config {{ description "What is wanted."; uses settings; }}
      container state {{ config false; description "What is."; uses settings;
        container counters {{ description "Counters."; uses counters; }} }}
      leaf peer {{ when "../config/enabled = 'true'";
        type leafref {{ path "/m:{name}/m:entry-0/m:name"; }} }}
    }}"""

AUGMENT = """augment "/p:{before}/p:entry-0/p:config" {{
    leaf {name}-extra {{ if-feature extra; type t:name; }}
    container {name}-more {{ leaf weight {{ type uint8; }} }}
  }}"""


def module(prefix, number, edition):
    name = f"{prefix}-{number}"
    before = f"{prefix}-{number - 1}"
    is_edited = number % 100 == 0
    augments = number % FAMILY > 0
    return MODULE.format(
        prefix=prefix,
        name=name,
        text=TEXT,
        edition=edition if is_edited else "",
        imports=f"import {before} {{ prefix p; }}" if augments else "",
        lists="".join(LIST.format(number=each, name=name) for each in range(LISTS)),
        augment=AUGMENT.format(name=name, before=before) if augments else "",
    )


def write(directory, count=MODULES, prefix=PREFIX, edition=""):
    """The names of the modules that are now in the directory."""
    os.makedirs(directory, exist_ok=True)
    identities = "".join(f"identity kind-{one} {{ base kind; }} " for one in range(30))
    texts = {f"{prefix}-types": TYPES.format(prefix=prefix, identities=identities)}
    for number in range(count):
        texts[f"{prefix}-{number}"] = module(prefix, number, edition)
    for name, text in texts.items():
        with open(os.path.join(directory, name + ".yang"), "w", encoding="ascii") as file:
            file.write(text)
    return list(texts)


if __name__ == "__main__":
    write(sys.argv[1], *map(int, sys.argv[2:3]), *sys.argv[3:])
