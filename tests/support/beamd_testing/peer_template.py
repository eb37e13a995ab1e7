"""A python-dbusmock template for any peer: what it is comes from the environment and the parameters.

As a template, the mock has all its methods and properties before it answers its first call.
"""

import os

BUS_NAME = os.environ["PEER_NAME"]
MAIN_OBJ = os.environ["PEER_PATH"]
MAIN_IFACE = os.environ["PEER_INTERFACE"]
SYSTEM_BUS = True


def load(mock, parameters):
    mock.AddMethods(MAIN_IFACE, [tuple(method) for method in parameters["methods"]])
    mock.AddProperties(MAIN_IFACE, parameters["properties"])
