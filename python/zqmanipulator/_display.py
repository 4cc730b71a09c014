"""Scenes and runs as pages for the browser, and in notebooks."""

from __future__ import annotations

import html
import os
import pathlib
from typing import Sequence

from . import _core

_page = pathlib.Path(__file__).with_name("replay.html")


def page(scenes: Sequence[str]) -> str:
    """A page that is whole in itself, with scenes that the core has described."""
    if not _page.exists():
        raise _core.Error(
            "the module was built without the page of replays, which takes node and npm: install them and build it again"
        )
    return _core._page(_page.read_text(encoding="utf-8"), list(scenes))


def frame(scenes: Sequence[str], height: int = 480) -> str:
    """The same as a part of another page."""
    return (
        f'<iframe srcdoc="{html.escape(page(scenes))}" width="100%" height="{height}" '
        'style="border: 0"></iframe>'
    )


def save(scenes: Sequence[str], path: str | os.PathLike[str]) -> None:
    pathlib.Path(path).write_text(page(scenes), encoding="utf-8")


def _scene_html(self: _core.Scene) -> str | None:
    return frame([_core._picture(self)]) if _page.exists() else None


def _scene_save_page(self: _core.Scene, path: str | os.PathLike[str], title: str = "") -> None:
    """Writes a page for the browser that shows the scene as it stands."""
    save([_core._picture(self, title)], path)


setattr(_core.Scene, "_repr_html_", _scene_html)
setattr(_core.Scene, "save_page", _scene_save_page)
