"""Makes sets of modules at random: the same for the same number on every machine.

Modules are made one after the other and refer to earlier ones. What they define is kept
as a tree of places beside the statements, so that later ones can refer to it and augment
or deviate it, and most sets are correct; whether one is, yanglint says.
"""

import random

from .groupings import Groupings
from .places import Part, Place
from .text import Statement as S
from .types import Types


class Generator(Groupings, Types):
    """One set of modules."""

    def __init__(self, number):
        self.random = random.Random(f"modules {number}")
        self.modules = []
        self.count = 0
        self.at_the_top = set()  # modules that augment a choice which no data node is around
        self.needed = {}  # {feature: the one that it depends on}

    # Helpers

    def chance(self, percent):
        return self.random.randrange(100) < percent

    def name(self, stem):
        self.count += 1
        return f"{stem}{self.count}"

    def prefix_of(self, part, module, revision=None):
        """The prefix that means a module in this part, which imports it from now on."""
        if module is part.module:
            return part.prefix
        for (imported, _), prefix in part.imports.items():
            if imported is module:
                return prefix
        prefix = module.prefix if self.chance(60) else self.name("p")
        part.imports[module, revision] = prefix
        return prefix

    def reference(self, part, definitions):
        """A definition of the kind that `definitions` takes from a part: its name as it is
        written here, and itself. None where none can be seen."""
        found = [(one, part.module) for seen in part.sees() for one in definitions(seen)]
        for module in self.earlier(part):
            found += [(one, module) for one in definitions(module)]
            found += [(one, module) for sub in module.parts for one in definitions(sub)]
        if not found:
            return None
        one, module = self.random.choice(found)
        name = one if isinstance(one, str) else one[0]
        if module is part.module and self.chance(60):
            return name, one
        return f"{self.prefix_of(part, module)}:{name}", one

    def earlier(self, part):
        modules = self.modules
        return modules[: modules.index(part.module)] if part.module in modules else modules

    def path(self, part, place, is_data=False):
        return "".join(
            f"/{self.prefix_of(part, one.module)}:{one.name}" for one in place.steps(is_data)
        )

    def places(self, part, is_wanted):
        """The places of this module and earlier ones that are wanted."""
        modules = [*self.earlier(part), part.module]
        return [one for module in modules for one in module.top.everything() if is_wanted(one)]

    # What may stand in any statement

    def extras(self, part, statement, *, has_description=True):
        """Things that change no node: descriptions, and instances of extensions."""
        if has_description and self.chance(15):
            text = self.random.choice(("What it is.", "leaf x { type y; }", "a\n  b;\n}", '"'))
            statement.add(S("description", text, is_word=False))
        if self.chance(8):
            extension = self.reference(part, lambda one: one.extensions)
            if extension:
                name, (_, has_argument) = extension
                if ":" not in name:
                    name = f"{part.prefix}:{name}"
                instance = S(name, self.name("text") if has_argument else None)
                if self.chance(20):
                    instance.add(S(name, self.name("text") if has_argument else None))
                statement.add(instance)
        return statement

    def condition(self, part, place, statement):
        feature = self.reference(part, lambda one: one.features)
        if feature is None or not self.chance(12):
            return
        text = feature[0]
        if part.is_new:
            other = self.reference(part, lambda one: one.features)[0]
            text = self.random.choice(
                (text, f"not {text}", f"{text} and {other}", f"({text} or not {other})")
            )
        statement.add(S("if-feature", text, is_word=" " not in text))
        place.is_conditional = True

    # Nodes

    def node(self, part, parent, depth, *, may_demand, name=None):
        """Defines a node below a place and returns its statement, or none."""
        kinds = ["leaf"] * 6 + ["leaf-list"] * 2 + ["anyxml"]
        if depth < 4:
            kinds += ["container"] * 3 + ["list"] * 3 + ["choice"] * 2 + ["uses"] * 3
        if part.is_new:
            kinds += ["anydata"]
            kinds += ["action"] if self.can_hold_actions(parent) else []
        kind = self.random.choice(kinds)
        if kind == "uses":
            return self.uses(part, parent, may_demand=may_demand)
        place = Place(kind, name or self.name("n"), part.module, parent, parent.config)
        if parent.module is None and parent.kind != "top":
            place.module = None
        place.statement = statement = S(kind, place.name)
        self.condition(part, place, statement)
        if not place.is_operation and place.config and kind != "action" and self.chance(12):
            place.config = False
            statement.add(S("config", "false"))
        getattr(self, kind.replace("-", "_"))(part, place, statement, depth, may_demand)
        return self.extras(part, statement)

    @staticmethod
    def can_hold_actions(parent):
        above = parent.steps()
        return (
            parent.kind in ("container", "list")
            and parent.module is not None
            and not parent.is_operation
            and all(one.kind != "list" or one.children for one in above)
        )

    def nodes(self, part, parent, depth, most, may_demand=True):
        count = self.random.randint(1, most)
        made = [self.node(part, parent, depth, may_demand=may_demand) for _ in range(count)]
        return [one for one in made if one is not None]

    def leaf(self, part, place, statement, depth, may_demand):
        kind, value, place.type = self.type(part, place)
        statement.add(kind)
        if self.chance(20):
            statement.add(S("units", "miles"))
        if may_demand and self.chance(20):
            statement.add(S("mandatory", "true"))
        elif value and self.chance(30):
            statement.add(S("default", value))
        if self.chance(6):
            statement.add(S("must", "1 < 2", is_word=False))
        if self.chance(6):
            statement.add(S("status", self.random.choice(("deprecated", "obsolete"))))
            place.is_conditional = True  # what is current cannot refer to it

    def leaf_list(self, part, place, statement, depth, may_demand):
        kind, value, place.type = self.type(part, place)
        statement.add(kind)
        if place.type == "empty":
            statement.inner.remove(kind)
            statement.add(S("type", "int8"))
        if may_demand and self.chance(20):
            statement.add(S("min-elements", "1"))
        elif value and part.is_new and self.chance(20):
            statement.add(S("default", value))
        if self.chance(20):
            statement.add(S("ordered-by", "user"))

    def anyxml(self, part, place, statement, depth, may_demand):
        if may_demand and self.chance(20):
            statement.add(S("mandatory", "true"))

    anydata = anyxml

    def container(self, part, place, statement, depth, may_demand):
        if self.chance(25):
            statement.add(S("presence", "it is there", is_word=False))
        if self.chance(90):
            statement.add(*self.nodes(part, place, depth + 1, 4, may_demand))

    def list(self, part, place, statement, depth, may_demand):
        keys = []
        if place.config or place.is_operation and self.chance(50) or self.chance(50):
            for _ in range(self.random.randint(1, 3)):
                key = Place("leaf", self.name("k"), place.module, place, place.config)
                key.is_bound = True
                kind, _, key.type = self.integer(part, key, 0)
                if self.chance(30):
                    kind, _, key.type = self.string(part, key, 0)
                keys.append(S("leaf", key.name, kind))
            names = " ".join(key.argument for key in keys)
            statement.add(S("key", names, is_word=" " not in names))
        nodes = self.nodes(part, place, depth + 1, 3, may_demand)
        for key in keys[::-1]:  # keys stand first in the schema, wherever they are written
            nodes.insert(self.random.randint(0, len(nodes)), key)
        statement.add(*nodes)
        if may_demand and self.chance(10):
            statement.add(S("min-elements", "1"), S("max-elements", "9"))

    def choice(self, part, place, statement, depth, may_demand):
        cases = []
        for _ in range(self.random.randint(1, 3)):
            cases.append(self.case(part, place, depth + 1, may_demand))
        cases = [case for case in cases if case is not None]
        statement.add(*cases)
        named = [case for case in cases if case.keyword == "case" and not case.inner]
        if named and self.chance(50):
            statement.add(S("default", named[0].argument))
        elif may_demand and self.chance(15):
            statement.add(S("mandatory", "true"))

    def case(self, part, choice, depth, may_demand, name=None):
        """A case, or a node that stands for one of its own name."""
        case = Place("case", name or self.name("n"), choice.module, choice, choice.config)
        if choice.module is not None:
            case.module = part.module
        if self.chance(50):
            node = self.node(part, case, depth, may_demand=may_demand, name=case.name)
            if node is not None and (
                node.keyword in ("uses", "action") or node.keyword == "choice" and not part.is_new
            ):
                return S("case", case.name, node)
            return node or S("case", case.name)
        statement = S("case", case.name)
        self.condition(part, case, statement)
        if self.chance(85):
            statement.add(*self.nodes(part, case, depth, 3, may_demand))
        return self.extras(part, statement)

    def operation(self, part, parent, kind, name=None):
        """An rpc, an action or a notification."""
        place = Place(kind, name or self.name("r"), part.module, parent)
        place.is_operation = True
        statement = S(kind, place.name)
        self.condition(part, place, statement)
        self.operation_body(part, place, statement)
        return self.extras(part, statement)

    def operation_body(self, part, place, statement):
        if place.kind == "notification":
            statement.add(*self.nodes(part, place, 3, 3))
            return
        for direction in ("input", "output"):
            inner = Place(direction, direction, part.module, place)
            if self.chance(70):
                nodes = self.nodes(part, inner, 2, 4)
                if nodes:
                    statement.add(S(direction, None, *nodes))

    def action(self, part, place, statement, depth, may_demand):
        place.is_operation = True
        self.operation_body(part, place, statement)

    # What stands at the top of a part

    def definitions(self, part):
        made = []
        for _ in range(self.random.randint(0, 3)):
            feature = self.name("f")
            statement = S("feature", feature)
            if part.features and self.chance(40):
                needed = self.random.choice(part.features)
                statement.add(S("if-feature", needed))
                self.needed[feature] = needed
            part.features.append(feature)
            made.append(self.extras(part, statement))
        for _ in range(self.random.randint(0, 2)):
            name, has_argument = self.name("e"), self.chance(60)
            statement = S("extension", name)
            if has_argument:
                argument = S("argument", "what")
                statement.add(argument)
            part.extensions.append((name, has_argument))
            made.append(statement)
        for _ in range(self.random.randint(0, 3)):
            made.append(self.identity(part))
        for _ in range(self.random.randint(0, 3)):
            kind, value, base = self.type(part)
            name = self.name("t")
            statement = S("typedef", name, kind)
            if value and self.chance(20):
                statement.add(S("default", value))
            part.typedefs.append((name, value, base))
            made.append(self.extras(part, statement))
        for _ in range(self.random.randint(0, 2)):
            made.append(self.grouping(part))
        return made

    def identity(self, part):
        statement = S("identity", self.name("i"))
        for _ in range(self.random.randint(0, 2 if part.is_new else 1)):
            base = self.reference(part, lambda one: one.identities)
            if base and base[0] not in [one.argument for one in statement.inner]:
                statement.add(S("base", base[0]))
        part.identities.append(statement.argument)
        return self.extras(part, statement)

    def augment(self, part):
        """An augment of any place, also of one that another augment has made."""
        found = self.places(
            part,
            lambda one: one.kind
            in ("container", "list", "choice", "case", "input", "output", "notification")
            and not one.is_conditional
            and (one.module is not part.module or self.chance(20)),
        )
        if not found:
            return None
        target = self.random.choice(found)
        target.bind()
        statement = S("augment", self.path(part, target), is_word=False)
        name = None
        others = {one.name for one in target.children if one.module is not part.module}
        if others and self.chance(25):
            name = self.random.choice(sorted(others))
            if (part.module, name) in target.scope():
                name = None
        if all(one.kind in ("choice", "case") for one in target.steps()):
            # libyang crashes where it learns of these while it compiles
            self.at_the_top.add(part.module.name)
            name = None
        is_own = target.module is part.module
        if target.kind == "choice":
            nodes = [self.case(part, target, 3, is_own, name)]
        else:
            nodes = [self.node(part, target, 3, may_demand=is_own, name=name)]
            if self.chance(50):
                nodes += self.nodes(part, target, 3, 2, is_own)
        nodes = [node for node in nodes if node is not None]
        if self.chance(10):
            statement.add(S("when", "1 = 1", is_word=False))
        return self.extras(part, statement.add(*nodes)) if nodes else None

    def deviation(self, part):
        found = self.places(
            part,
            lambda one: one.module is not part.module
            and one.kind in ("leaf", "leaf-list", "container", "list", "choice", "rpc")
            and not one.is_conditional,
        )
        if not found:
            return None
        target = self.random.choice(found)
        deviate = self.deviate(part, target)
        if deviate is None:
            return None
        path = self.path(part, target)
        if deviate.argument == "not-supported":
            target.parent.children.remove(target)
        else:
            target.bind()
        return S("deviation", path, self.extras(part, deviate, has_description=False))

    def deviate(self, part, target):
        ways = []
        if not any(one.is_bound for one in target.everything()):
            ways += ["not-supported"]
        if target.kind in ("leaf", "leaf-list"):
            ways += ["type", "must"]
        if target.kind in ("list", "leaf-list"):
            ways += ["max"]
        given = {one.keyword: one for one in target.statement.inner} if target.statement else {}
        if target.kind == "leaf" and target.statement is not None:
            ways += ["delete " + one for one in ("units", "default", "must") if one in given]
            ways += ["replace units"] if "units" in given else ["add units"]
        way = self.random.choice(ways) if ways else None
        if way is None:
            return None
        if way == "not-supported":
            return S("deviate", way)
        if way == "type":
            if target.is_bound or target.statement is None or "default" in given:
                return None
            kind, _, target.type = self.string(part, target, 0)
            return S("deviate", "replace", kind)
        if way == "must":
            return S("deviate", "add", S("must", "2 > 1", is_word=False))
        if way == "max":
            is_given = "max-elements" in given
            return S("deviate", "replace" if is_given else "add", S("max-elements", "77"))
        action, _, what = way.partition(" ")
        if action == "delete":
            gone = given[what]
            target.statement = None  # a second deviation would not find it
            return S("deviate", "delete", S(what, gone.argument, is_word=gone.is_word))
        target.statement = None
        return S("deviate", action, S("units", "feet"))

    # Modules

    def part(self, name, module, is_new):
        part = Part(name, module, is_new)
        if module is not None:
            seen = [one for one in module.parts if self.chance(50)]
            part.includes = module.parts[:] if is_new else seen
            module.parts.append(part)
        return part

    def fill(self, part, is_main):
        body = self.definitions(part)
        for _ in range(self.random.randint(0, 3 if is_main else 2)):
            node = self.node(part, part.module.top, 1, may_demand=True)
            body += [node] if node is not None else []
        for _ in range(self.random.randint(0, 2)):
            kind = self.random.choice(("rpc", "notification"))
            body.append(self.operation(part, part.module.top, kind))
        for _ in range(self.random.randint(0, 3)):
            body.append(self.augment(part))
        if self.chance(35):
            body.append(self.deviation(part))
        part.body = [one for one in body if one is not None]
        # Statements of a kind may stand in any order.
        self.random.shuffle(part.body)

    def module(self):
        module = Part(self.name("m"), None, self.chance(60))
        self.modules.append(module)
        for _ in range(self.random.choice((0, 0, 0, 1, 1, 2, 3))):
            part = self.part(self.name("s"), module, module.is_new)
            self.fill(part, False)
        module.includes = module.parts[:]
        if self.chance(40):
            module.revision = f"20{self.random.randint(10, 25)}-0{self.random.randint(1, 9)}-11"
        self.fill(module, True)

    def head(self, part):
        if part.module is part:
            head = [S("namespace", f"urn:{part.name}"), S("prefix", part.prefix)]
        else:
            head = [S("belongs-to", part.module.name, S("prefix", part.prefix))]
        if part.is_new or self.chance(30):
            head.insert(0, S("yang-version", "1.1" if part.is_new else "1"))
        for (module, _), prefix in part.imports.items():
            statement = S("import", module.name, S("prefix", prefix))
            if module.revision and self.chance(40):
                statement.add(S("revision-date", module.revision))
            head.append(statement)
        includes = [S("include", one.name) for one in part.includes]
        # One that a submodule includes need not be included by a module of version 1.
        nested = {one.name for sub in part.includes for one in sub.includes}
        if not part.is_new and part.module is part and self.chance(50):
            includes = [one for one in includes if one.argument not in nested]
        head += includes
        if part.revision:
            head.append(S("revision", part.revision))
            if self.chance(30):
                head.append(S("revision", "2001-01-01"))
        return head

    def statement(self, part):
        keyword = "module" if part.module is part else "submodule"
        return S(keyword, part.name, *self.head(part), *part.body)
