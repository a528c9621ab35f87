// A source for the headers that are parsed once for all tests.
