// A precompiled header needs a source to belong to; there is nothing in it.
