"""What report.py makes of measurements, one idea a module."""
