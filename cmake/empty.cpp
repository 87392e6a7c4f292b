// Placeholder for a folder half that has no units yet.
