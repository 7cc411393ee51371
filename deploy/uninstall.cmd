@rem uninstall.cmd ["install root"] [/all]
@rem
@rem Deletes the log-on task and uninstalls the plug-ins. /all also removes what an uninstallation leaves: the settings,
@rem empty folders, the log, the copies in "VELA setup". Run it as the local system or as an elevated administrator,
@rem while no mail client runs and, if possible, no user is logged on.
@rem Ends with 0 (done), 3010 (done after a restart) or 1 (not done, or in part). docs\deploy.html explains it.
@setlocal EnableExtensions DisableDelayedExpansion
@"%~dp0common.cmd" uninstall %*
