// The resources of this library live in object libraries that Qt attaches to
// every consumer; a static library still needs one translation unit of its own.
