@rem detect.cmd ["install root"] [/task]
@rem
@rem Says whether the plug-ins are installed, and what is missing if only a part is. Changes nothing, needs no rights.
@rem /task: the task at log-on must be there, too. Only administrators and the local system see it.
@rem Ends with 0 (installed), 3010 (installed, but files wait for the restart) or 1 (not installed, or in part).
@setlocal EnableExtensions DisableDelayedExpansion
@"%~dp0common.cmd" detect %*
