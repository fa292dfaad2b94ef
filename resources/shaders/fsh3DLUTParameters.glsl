// The lookup table's sampler and lookupTable() come with the common filter
// inputs, so a style that only applies a table needs no declarations here.
