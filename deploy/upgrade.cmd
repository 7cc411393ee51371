@rem upgrade.cmd "source folder" ["install root"]
@rem
@rem Copies a newer source to the machine, compares the copy, replaces the installed files that differ, and notifies the
@rem mail clients that run. It registers nothing: for new modules use install.cmd. Run it as the local system.
@rem Ends with 0 (done), 3010 (done after a restart) or 1 (not done, or in part). docs\deploy.html explains it.
@setlocal EnableExtensions DisableDelayedExpansion
@"%~dp0common.cmd" upgrade %*
