// Nothing of its own: this object is the list of what it is linked with.
