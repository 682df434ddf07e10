# The record store.
