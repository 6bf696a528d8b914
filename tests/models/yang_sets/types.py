"""The types of leaves, made at random."""

from .text import Statement as S

INTEGERS = ("int8", "int16", "int32", "int64", "uint8", "uint16", "uint32", "uint64")
# The values that a type may have, for defaults.
ENUMS, BITS = ("up", "down", "un-known"), ("one", "two", "three")


class Types:
    """A part of the generator."""

    def type(self, part, place=None, depth=0):
        """A type statement, a value for a default or None, and the name of its base."""
        ways = [self.integer, self.string, self.choice_of_values, self.plain_type, self.named]
        ways += [self.identityref] * 2 + [self.leafref] * 2 + [self.named] * 3
        if depth < 2:
            ways.append(self.union)
        return self.random.choice(ways)(part, place, depth)

    def integer(self, part, place, depth):
        kind = self.random.choice(INTEGERS)
        statement = S("type", kind)
        if self.chance(40):
            statement.add(S("range", "1..10 | 20..max", is_word=False))
        return statement, "7", kind

    def string(self, part, place, depth):
        statement = S("type", "string")
        if self.chance(30):
            statement.add(S("length", "1..64"))
        if self.chance(30):
            pattern = S("pattern", "[a-z{}]*", is_word=False)
            if part.is_new and self.chance(30):
                pattern = S("pattern", "[0-9]+", S("modifier", "invert-match"), is_word=False)
            statement.add(self.extras(part, pattern, has_description=False))
        return statement, "text", "string"

    def choice_of_values(self, part, place, depth):
        if self.chance(50):
            return S("type", "enumeration", *(S("enum", one) for one in ENUMS)), "up", "enumeration"
        bits = (S("bit", one, S("position", str(i))) for i, one in enumerate(BITS))
        return S("type", "bits", *bits), "one", "bits"

    def plain_type(self, part, place, depth):
        kind = self.random.choice(("boolean", "empty", "binary", "decimal64", "instance"))
        if kind == "decimal64":
            digits = S("fraction-digits", self.random.choice("128"))
            return S("type", kind, digits), "1.5", kind
        if kind == "instance":
            return S("type", "instance-identifier", S("require-instance", "false")), None, kind
        if depth and kind == "empty" and not part.is_new:
            kind = "binary"
        return S("type", kind), "true" if kind == "boolean" else None, kind

    def identityref(self, part, place, depth):
        base = self.reference(part, lambda one: one.identities)
        if base is None:
            return self.string(part, place, depth)
        return S("type", "identityref", S("base", base[0])), None, "identityref"

    def leafref(self, part, place, depth):
        """To a leaf that always is there; in a grouping to none, for it has no path."""
        if place is None or place.module is None or place.is_operation and self.chance(50):
            return self.integer(part, place, depth)
        found = self.places(
            part,
            lambda one: one.kind in ("leaf", "leaf-list")
            and one is not place
            and not one.is_operation
            and (not one.is_conditional or self.chance(3))
            and (one.config or not place.config)
            and one.type != "leafref"
            and one.steps(True)[0].module is one.steps()[0].module,  # libyang finds no others
        )
        if not found or depth and not part.is_new:
            return self.integer(part, place, depth)
        target = self.random.choice(found)
        target.bind()
        path = S("path", self.path(part, target, True), is_word=False)
        return S("type", "leafref", path), None, "leafref"

    def union(self, part, place, depth):
        members = [self.type(part, place, depth + 1)[0] for _ in range(self.random.randint(1, 3))]
        return S("type", "union", *members), None, "union"

    def named(self, part, place, depth):
        found = self.reference(part, lambda one: one.typedefs)
        if found is None:
            return self.integer(part, place, depth)
        name, (_, value, kind) = found
        is_new_only = kind in ("empty", "leafref") and not part.is_new
        # libyang frees a named boolean in a union in a union, and goes on using it.
        if depth and (is_new_only or kind in ("boolean", "empty")):
            return self.integer(part, place, depth)
        statement = S("type", name)
        if kind == "string" and self.chance(20):
            statement.add(S("length", "1..32"))
        return statement, value, kind
