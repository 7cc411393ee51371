@rem enable.cmd ["install root"] [/logon]
@rem
@rem Enables filtering, writes the start-up values of the monitors, and starts the monitors for the user at the console.
@rem /logon, for the task at log-on: does not start them, because Windows does. Run it as the local system.
@rem Ends with 0 (done) or 1 (not done, or in part). docs\deploy.html explains it.
@setlocal EnableExtensions DisableDelayedExpansion
@"%~dp0common.cmd" enable %*
