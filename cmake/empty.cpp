// Placeholder translation unit for a library whose sources are not there yet.
