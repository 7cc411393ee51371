// A precompiled header needs a source file to belong to. This one is empty.
