"""Sets of YANG modules, and what yanglint and schemac make of them."""
