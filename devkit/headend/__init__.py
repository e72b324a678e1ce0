"""The dev kit's simulated headend (see devkit/README.md)."""
