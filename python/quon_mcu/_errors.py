"""What can go wrong with a call."""


class QuonMcuError(Exception):
    """Any of the errors below."""


class TimedOut(QuonMcuError):
    """No answer in time. The service may have been carried out."""


class NoConnection(QuonMcuError):
    """Nobody is listening, or the connection was lost."""


class Failed(QuonMcuError):
    """The service answered with the negative `result`."""

    def __init__(self, service: str, result: int) -> None:
        super().__init__(f"{service}: the service failed, result {result}")
        self.result = result


class Malformed(QuonMcuError):
    """An inconsistent answer, or one of the wrong size."""
