"""What `with` closes at its end."""

from abc import ABC, abstractmethod
from typing import Self


class Closing(ABC):
    @abstractmethod
    def close(self) -> None: ...

    def __enter__(self) -> Self:
        return self

    def __exit__(self, *error: object) -> None:
        self.close()
