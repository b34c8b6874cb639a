"""The version, which is the gateway's."""

VERSION = "0.1.0"
