@rem install.cmd "source folder" "install root" [/task]
@rem
@rem Copies the source to the machine, compares the copy, installs the plug-ins from it, and checks that each module is
@rem registered. /task also creates the task that enables filtering at each log-on (enable-task.xml). Run it as the
@rem local system or as an elevated administrator, while no mail client runs.
@rem Ends with 0 (done), 3010 (done after a restart) or 1 (not done, or in part). docs\deploy.html explains it.
@setlocal EnableExtensions DisableDelayedExpansion
@"%~dp0common.cmd" install %*
