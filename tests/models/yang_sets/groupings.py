"""Groupings and their uses, made at random."""

from .places import Place
from .text import Statement as S


class Groupings:
    """A part of the generator."""

    def grouping(self, part):
        top = Place("grouping", self.name("g"))
        statement = S("grouping", top.name, *self.nodes(part, top, 2, 4))
        if len(statement.inner) == 0:
            statement.add(S("description", "empty"))
        part.groupings.append((top.name, top))
        return self.extras(part, statement, has_description=False)

    def uses(self, part, parent, *, may_demand):
        found = self.reference(part, lambda one: one.groupings)
        if found is None or not may_demand:
            return None
        name, (_, top) = found
        module = None if parent.module is None and parent.kind != "top" else part.module
        names = {(module, one.name) for one in top.data_below()}
        groupings = {top, *top.groupings}
        around = set().union(*(one.groupings for one in parent.steps()))
        if names & parent.scope() or groupings & around:  # what libyang takes for a circle
            return None
        if module is None:
            parent.steps()[0].groupings.update(groupings)
        copies = [child.copy_to(parent, module) for child in top.children]
        statement = S("uses", name)
        if self.chance(25):
            self.refine(statement, copies)
        if self.chance(20):
            self.augment_uses(part, statement, copies)
        place = Place("used", "", module)
        self.condition(part, place, statement)
        for copy in copies:
            for one in copy.everything():
                one.is_conditional |= place.is_conditional
                one.groupings |= groupings
        return self.extras(part, statement)

    def refine(self, statement, copies):
        found = [one for copy in copies for one in copy.everything()]
        target = self.random.choice(found) if found else None
        if target is None or target.is_operation:
            return
        path = self.inner_path(target, copies)
        change = S("description", "refined")
        if target.kind == "container":
            change = S("presence", "refined")
        elif target.kind in ("leaf-list", "list"):
            change = S("max-elements", "5")
        statement.add(S("refine", path, change))

    @staticmethod
    def inner_path(place, copies):
        path = []
        while place not in copies:
            path.insert(0, place.name)
            place = place.parent
        return "/".join([place.name, *path])

    def augment_uses(self, part, statement, copies):
        found = [
            one
            for copy in copies
            for one in copy.everything()
            if one.kind in ("container", "list") and not one.is_conditional
        ]
        if found:
            target = self.random.choice(found)
            nodes = self.nodes(part, target, 4, 2)
            if nodes:
                statement.add(S("augment", self.inner_path(target, copies), *nodes))
