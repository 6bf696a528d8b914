"""What modules a server has: from its hello, or better from its YANG library.

Names are those of a stranger, and will be names of files: what is no identifier and no
date is left out here.
"""

import re
from typing import NamedTuple
from urllib.parse import parse_qsl

from schemac_from.session import Failed, error_of

LIBRARY = "urn:ietf:params:xml:ns:yang:ietf-yang-library"
MONITORING = "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring"
# Both revisions of the model at once: a server leaves out what it does not have.
READ = (
    f'<get><filter type="subtree"><modules-state xmlns="{LIBRARY}"/>'
    f'<yang-library xmlns="{LIBRARY}"/></filter></get>'
)
NAME = re.compile(r"[A-Za-z_][A-Za-z0-9_.-]{0,149}")
DATE = re.compile(r"([0-9]{4}-[0-9]{2}-[0-9]{2})?")
MOST = 10000  # modules of a server


class Announced(NamedTuple):
    texts: dict  # of modules and submodules: {(name, revision): whether it is implemented}
    features: set  # that are on, as "module:feature"
    odd: list  # names that are none

    def add(self, name, revision, is_implemented):
        """Whether it has a proper name."""
        key = (name or "").strip(), (revision or "").strip()
        if not NAME.fullmatch(key[0]) or not DATE.fullmatch(key[1]):
            self.add_odd("@".join(key))
            return False
        self.texts[key] = self.texts.get(key, False) or is_implemented
        if len(self.texts) > MOST:
            raise Failed(f"the server announces more than {MOST} modules")
        return True

    def add_odd(self, name):
        self.odd.append(name)
        if len(self.odd) > MOST:
            raise Failed(f"the server announces more than {MOST} names that are none")

    def add_features(self, module, features):
        for feature in features:
            if NAME.fullmatch(feature or ""):
                self.features.add(f"{module}:{feature}")
            else:
                self.add_odd(f"{module}:{feature}")
        if len(self.features) > 10 * MOST:
            raise Failed(f"the server announces more than {10 * MOST} features")


def of_capabilities(capabilities):
    """Announced, by the modules among the capabilities of a hello."""
    announced = Announced({}, set(), [])
    deviations = set()
    for capability in capabilities:
        query = dict(parse_qsl(capability.partition("?")[2]))
        if "module" not in query:
            continue
        name = query["module"].strip()
        if announced.add(name, query.get("revision"), True):
            announced.add_features(name, _split(query.get("features")))
            deviations.update(_split(query.get("deviations")))
    known = {name for name, _ in announced.texts}
    for name in sorted(deviations - known):
        announced.add(name, "", True)
    return announced


def _split(text):
    return [name.strip() for name in (text or "").split(",") if name.strip()]


def of_library(reply):
    """Announced, by a reply with a YANG library of either revision."""
    announced = Announced({}, set(), [])
    for module in reply.iter(f"{{{LIBRARY}}}module"):
        _add_module(announced, module, _leaf(module, "conformance-type") != "import")
    for module in reply.iter(f"{{{LIBRARY}}}import-only-module"):
        _add_module(announced, module, False)
    return announced


def _leaf(element, name):
    return element.findtext(f"{{{LIBRARY}}}{name}", "").strip()


def _add_module(announced, module, is_implemented):
    name = _leaf(module, "name")
    if not announced.add(name, _leaf(module, "revision"), is_implemented):
        return
    # Its own children only: modules within modules would all be gone through for each.
    for submodule in module.findall(f"{{{LIBRARY}}}submodule"):
        announced.add(_leaf(submodule, "name"), _leaf(submodule, "revision"), is_implemented)
    if is_implemented:
        features = module.findall(f"{{{LIBRARY}}}feature")
        announced.add_features(name, [(feature.text or "").strip() for feature in features])


def has(capabilities, announced, name):
    """Whether a module of this name is announced in either way."""
    return any(known == name for known, _ in announced.texts) or any(
        capability.startswith(f"urn:ietf:params:xml:ns:yang:{name}") for capability in capabilities
    )


def read(session, complain):
    """What the server of a session announces."""
    hello = of_capabilities(session.capabilities)
    if not has(session.capabilities, hello, "ietf-yang-library") and not any(
        ":capability:yang-library:" in capability for capability in session.capabilities
    ):
        return hello
    session.ask(READ)
    _, reply = session.answer()
    if (error := error_of(reply)) is not None:
        complain(f"the server does not show its YANG library: {error}")
    library = of_library(reply)
    return library if library.texts else hello
