"""What the modules of a set define, kept beside their statements."""


class Place:
    """A node that is defined, or one of a grouping; then it has no module yet."""

    def __init__(self, kind, name, module=None, parent=None, config=True):
        self.kind = kind
        self.name = name
        self.module = module
        self.parent = parent
        self.config = config
        self.children = []
        self.statement = None
        self.type = None  # of a leaf or leaf-list
        self.is_bound = False  # something refers to it: it must stay
        self.is_conditional = False
        self.groupings = set()  # that it comes from, or of a grouping, that it uses
        self.is_operation = parent is not None and parent.is_operation
        if parent is not None:
            self.is_conditional = parent.is_conditional
            parent.children.append(self)

    def scope(self):
        """The names of data nodes that must differ from one that is put here."""
        around = self
        while around.kind in ("choice", "case") and around.parent is not None:
            around = around.parent
        return {(one.module, one.name) for one in around.data_below()}

    def data_below(self):
        for child in self.children:
            yield child
            if child.kind in ("choice", "case"):
                yield from child.data_below()

    def everything(self):
        yield self
        for child in self.children:
            yield from child.everything()

    def steps(self, is_data=False):
        """The places from the top to this one; of a data path without choices and cases."""
        above = self.parent.steps(is_data) if self.parent is not None else []
        is_left_out = self.kind == "top" or (is_data and self.kind in ("choice", "case"))
        return above if is_left_out else above + [self]

    def bind(self):
        for one in self.steps():
            one.is_bound = True

    def copy_to(self, parent, module):
        copy = Place(self.kind, self.name, module, parent, self.config and parent.config)
        copy.type = self.type
        copy.is_conditional |= self.is_conditional
        copy.is_bound = self.is_bound
        copy.groupings = set(self.groupings)
        copy.statement = None  # that of the grouping
        for child in self.children:
            child.copy_to(copy, module)
        return copy


class Part:
    """A module or one of its submodules."""

    def __init__(self, name, module, is_new):
        self.name = name
        self.module = module or self
        self.is_new = is_new  # YANG 1.1
        self.prefix = name if module is None else f"{name}-own"
        self.revision = None
        self.imports = {}  # (module, revision) -> prefix
        self.includes = []
        self.body = []
        # What it defines: lists of names, and of (name, something).
        self.features, self.identities, self.extensions = [], [], []
        self.typedefs, self.groupings = [], []
        # Of a module:
        self.parts = []
        self.top = Place("top", "")

    def sees(self):
        """The parts whose definitions can be named here without a prefix."""
        return [self, *self.includes]
