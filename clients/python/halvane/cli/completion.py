"""Completion. click knows bash, zsh and fish; PowerShell is added here in its way."""

from __future__ import annotations

from typing import List, Tuple

import click
from click.shell_completion import CompletionItem, ShellComplete, add_completion_class, get_completion_class

SHELLS = ("bash", "fish", "powershell", "zsh")

_POWERSHELL = """\
Register-ArgumentCompleter -Native -CommandName %(prog_name)s -ScriptBlock {
    param($word, $ast, $position)
    $env:%(complete_var)s = "powershell_complete"
    $env:COMP_WORDS = $ast.ToString()
    $env:COMP_WORD = $word
    try {
        %(prog_name)s | ForEach-Object {
            [System.Management.Automation.CompletionResult]::new($_, $_, 'ParameterValue', $_)
        }
    } finally {
        Remove-Item Env:%(complete_var)s, Env:COMP_WORDS, Env:COMP_WORD
    }
}
"""


class PowerShell(ShellComplete):
    name = "powershell"
    source_template = _POWERSHELL

    def get_completion_args(self) -> Tuple[List[str], str]:
        import os

        from click.parser import split_arg_string

        words, word = split_arg_string(os.environ["COMP_WORDS"])[1:], os.environ["COMP_WORD"]
        return (words[:-1] if word and words else words), word

    def format_completion(self, item: CompletionItem) -> str:
        return str(item.value)


add_completion_class(PowerShell)


def script(command: click.BaseCommand, shell: str) -> str:
    kind = get_completion_class(shell)
    if kind is None:
        raise click.UsageError(f"no completion for {shell}")
    return kind(command, {}, "halvane", "_HALVANE_COMPLETE").source()
