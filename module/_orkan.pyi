def orkan(arguments: list[str], /) -> int:
    """Run orkan with argument list"""
