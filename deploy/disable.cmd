@rem disable.cmd ["install root"] [/permanent]
@rem
@rem Disables filtering and ends the monitors. The task at log-on enables it again: /permanent deletes that task. Run it
@rem as the local system or as an elevated administrator, while no mail client runs.
@rem Ends with 0 (done) or 1 (not done, or in part). docs\deploy.html explains it.
@setlocal EnableExtensions DisableDelayedExpansion
@"%~dp0common.cmd" disable %*
