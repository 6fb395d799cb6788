"""Recorder boards for tests: made, booted, acted on and read."""

from vboard.base import AbstractBoard, BoardError, Event, NotSeen, Result
from vboard.virtual import Board

__all__ = ['AbstractBoard', 'Board', 'BoardError', 'Event', 'NotSeen', 'Result']
