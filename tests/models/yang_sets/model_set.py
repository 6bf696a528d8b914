"""A set of modules as it is given to the programs."""

from .faults import add_fault
from .generate import Generator
from .text import MARKS, lines_of, marked_place, plain_lines


class ModelSet:
    """Texts by file name, the modules that are asked for, and the features that are on:
    None for all, or a list of "module:feature"."""

    def __init__(self, number):
        self.number = number
        self.generator = generator = Generator(number)
        for _ in range(generator.random.randint(2, 7)):
            generator.module()
        self.random = generator.random
        self.parts = [one for module in generator.modules for one in (*module.parts, module)]
        self.statements = {part.name: generator.statement(part) for part in self.parts}
        modules = generator.modules
        self.names = [module.name for module in modules]
        self.asked = [
            name for name in self.names if name in generator.at_the_top or not generator.chance(20)
        ] or self.names[-1:]
        generator.random.shuffle(self.asked)
        self.features = self.choose_features()
        self.files = {part.name: self.file_name(part) for part in self.parts}
        self.fault_part = None
        self.fault_lines = None

    def choose_features(self):
        way = self.random.randrange(3)
        if way == 0:
            self.asked = self.names  # yanglint turns on those of implemented modules only
            return None
        on = []
        for part in self.parts:
            for one in part.features if part.module.name in self.asked and way == 2 else ():
                needed = self.generator.needed.get(one)
                is_allowed = needed is None or f"{part.module.name}:{needed}" in on
                if self.random.randrange(2) and (is_allowed or self.generator.chance(5)):
                    on.append(f"{part.module.name}:{one}")
        return on

    def file_name(self, part):
        has_revision = part.revision and self.random.randrange(2)
        return f"{part.name}@{part.revision}.yang" if has_revision else f"{part.name}.yang"

    def texts(self):
        """{file name: text}, and the same written plainly, without instances of extensions."""
        written = {}
        plain = {}
        for part in self.parts:
            file = self.files[part.name]
            lines = lines_of(self.random, self.statements[part.name])
            if part is self.fault_part:
                self.fault_lines = marked_place(lines)
            written[file] = "\n".join(lines).translate({ord(mark): None for mark in MARKS}) + "\n"
            plain[file] = "\n".join(plain_lines(self.statements[part.name])) + "\n"
        return written, plain

    def break_it(self):
        """Puts a fault into a module that is asked for, or a submodule; says what it is."""
        found = [part for part in self.parts if part.module.name in self.asked]
        self.fault_part = self.random.choice(found)
        return add_fault(self.random, self.fault_part, self.statements[self.fault_part.name])
