"""The parts of `schemac --from`.

A server is asked (session) what modules it has (library) and for those texts that are
not known yet (fetch, yang_text). Both are kept (cache), and schemac compiles them (main).
"""
